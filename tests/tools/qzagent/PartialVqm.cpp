/// @file
/// A diagnostic library to preload that lacks most functions.

extern "C"
{
    unsigned int VQM_InitDiagEnv(void*, unsigned int) { return 1; }

    void VQM_FreeDiagEnv() {}
}
