// Linked with --wrap=_exit into a program whose children end at once, so that they leave what they have counted of its
// coverage.
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
