/// @file
/// The records that the layer exchanges with the vendor library, as byte positions from the start of the area that
/// the layer passes. Integers of several bytes are in host byte order. The layer reads only the fields that are
/// named here.
///
///     library version text        0 ................................. 127
///                                 text, NUL-terminated
///
///     driver information record   0         1 ... 143   144 ......... 151
///                                 version   not read    FeatureList
///
///     diagnostic environment      32 records of 108 bytes; in the first one
///     table                       0 ... 51              52 ..............
///                                 not read              driver version text
///
///     link information record     0 ... 151   152 ........ 159   160 .... 167
///                                 not read    second name        first name
#pragma once

struct QZCLibvqmRecords
{
    /// The alignment of every area. The vendor library may store 64-bit numbers with one instruction.
    static constexpr unsigned int sgAlignment = 8;

    static constexpr unsigned int sgLibraryVersionSize = 128;

    static constexpr unsigned int sgDriverInfoSize = 152;
    static constexpr unsigned int sgDriverInfoVersionPosition = 0;
    static constexpr unsigned char sgDriverInfoVersion = 4;
    static constexpr unsigned int sgFeatureListPosition = 144;
    static constexpr unsigned long long sgQuazorFeature = 0x100;

    static constexpr unsigned int sgDiagEnvCapacity = 32;
    static constexpr unsigned int sgDiagEnvRecordSize = 108;
    static constexpr unsigned int sgDiagEnvTableSize = sgDiagEnvCapacity * sgDiagEnvRecordSize;
    static constexpr unsigned int sgDriverVersionPosition = 52;

    static constexpr unsigned int sgLinkInfoSize = 168;
    static constexpr unsigned int sgSecondWwnPosition = 152;
    static constexpr unsigned int sgFirstWwnPosition = 160;
    static constexpr unsigned int sgWwnSize = 8;
};

static_assert(QZCLibvqmRecords::sgDiagEnvTableSize == 3456, "the table of 32 records");
static_assert(QZCLibvqmRecords::sgFeatureListPosition + sizeof(unsigned long long) ==
                  QZCLibvqmRecords::sgDriverInfoSize,
              "FeatureList ends the driver information record");
static_assert(QZCLibvqmRecords::sgDriverVersionPosition < QZCLibvqmRecords::sgDiagEnvRecordSize,
              "the driver version text begins inside the first record");
static_assert(QZCLibvqmRecords::sgSecondWwnPosition + QZCLibvqmRecords::sgWwnSize ==
                  QZCLibvqmRecords::sgFirstWwnPosition,
              "the two names are adjacent");
static_assert(QZCLibvqmRecords::sgFirstWwnPosition + QZCLibvqmRecords::sgWwnSize ==
                  QZCLibvqmRecords::sgLinkInfoSize,
              "the first name ends the link information record");
