#include "simulator/scenario/WwnReader.h"

#include "simulator/scenario/Wwn.h"
#include "toml/ValueReader.h"

namespace qzsim
{
HBA_WWN readWwn(tomlfile::TomlValue const& aValue)
{
    return readFound(aValue, wwnIn, "a World Wide Name such as \"20:00:00:00:c9:00:00:01\"");
}
}  // namespace qzsim
