// Linked with --wrap=_exit into a program whose children call _exit, so that they write their coverage counts first.
extern "C"
{
    void __gcov_dump();
    [[noreturn]] void __real__exit(int aStatus);

    [[noreturn]] void __wrap__exit(int aStatus)
    {
        __gcov_dump();
        __real__exit(aStatus);
    }
}
