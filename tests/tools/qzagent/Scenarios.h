/// @file
/// Parts of scenarios for the simulator, as TOML text.
#pragma once

#include <string>

/// An adapter, to which the ports that follow it belong.
inline std::string adapterNamed(std::string const& aName)
{
    return "[[adapter]]\nname = \"" + aName + "\"\n";
}

/// A port of the adapter, to which the targets that follow it belong.
/// @param aNumber last digit of its name
inline std::string portNumbered(unsigned int aNumber)
{
    return "[[adapter.port]]\nport_wwn = \"10:00:00:00:c9:00:00:0" + std::to_string(aNumber) + "\"\n";
}

/// A target that the port discovers.
/// @param aNumber last digit of its name
/// @param aLuns   number of its LUNs
inline std::string targetNumbered(unsigned int aNumber, unsigned int aLuns)
{
    return "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:00:0" + std::to_string(aNumber) +
           "\"\nluns = " + std::to_string(aLuns) + "\n";
}

/// A failing call of the HBA API.
/// @param aNth   which calls fail, as a TOML value: "2" or "\"1-3\""
/// @param aWhere further keys of the fault, one per line
inline std::string fault(std::string const& aCall, std::string const& aNth, std::string const& aStatus,
                         std::string const& aWhere = {})
{
    return "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + aNth + "\nstatus = \"" + aStatus + "\"\n" + aWhere;
}

/// Two adapters with a port each, of which the second cannot be opened.
inline std::string secondAdapterFails()
{
    return adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed("example-fc-1") + portNumbered(2) +
           fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n");
}

/// A common library that does not load.
inline std::string failedLoad() { return fault("HBA_LoadLibrary", "1", "HBA_STATUS_ERROR"); }
