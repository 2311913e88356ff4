/// @file
/// A common library of the HBA API for the tests of the witness. It is a shared library, because the witness forwards
/// to the next library that has the function.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include <hbaapi.h>

/// The answers of the library, and the arguments of its last call.
struct CommonLibrary
{
    HBA_STATUS mStatus = HBA_STATUS_OK;  ///< of every call that has one
    HBA_HANDLE mHandle = 0;              ///< given by HBA_OpenAdapter
    int mScsiStatus = -1;                ///< written by the SCSI calls that report one; none when negative
    std::vector<unsigned char> mSense;   ///< written by the SCSI calls

    unsigned int mCalls = 0;
    std::string mFunction;
    std::string mArguments;  ///< the values of the last call: numbers, names, and the sizes of the blocks
};

/// The state of the library.
CommonLibrary& commonLibrary();
