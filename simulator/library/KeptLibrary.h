/// @file
/// How libqzsim-vqm-kept.so, which the program opens and closes with --keep-loaded, reports that to libqzsim-vqm.so,
/// which has the functions and stays loaded.
#pragma once

extern "C"
{
    /// The program has opened the library.
    void QZSIM_KeepLoaded();

    /// The program has closed the library for the last time.
    void QZSIM_Close();
}
