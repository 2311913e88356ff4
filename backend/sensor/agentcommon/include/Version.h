/// @file
/// The version of the libraries that these headers belong to. docs/abi.md says what each number promises.
#pragma once

/// @name Version of the headers
/// @ingroup services
/// @{
#define QZ_AGENTCOMMON_VERSION_MAJOR 1  ///< changes with the soname
#define QZ_AGENTCOMMON_VERSION_MINOR 1  ///< increases with additions
#define QZ_AGENTCOMMON_VERSION_PATCH 0  ///< increases with corrections
#define QZ_AGENTCOMMON_VERSION "1.1.0"  ///< as text
/// @}

/// The version as one number, to compare with QZ_AGENTCOMMON_VERSION_AT_LEAST.
/// @ingroup services
#define QZ_AGENTCOMMON_VERSION_NUMBER \
    (QZ_AGENTCOMMON_VERSION_MAJOR * 10000 + QZ_AGENTCOMMON_VERSION_MINOR * 100 + QZ_AGENTCOMMON_VERSION_PATCH)

/// Whether the headers are of this version or a later one, for `#if`.
/// @param aMajor major number
/// @param aMinor minor number
/// @param aPatch patch number
/// @ingroup services
#define QZ_AGENTCOMMON_VERSION_AT_LEAST(aMajor, aMinor, aPatch) \
    (QZ_AGENTCOMMON_VERSION_NUMBER >= (aMajor)*10000 + (aMinor)*100 + (aPatch))
