#include "tools/qzagent/inventory/FoundAdapter.h"

#include <vector>

#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
Luns lunsOf(std::vector<MappedLun> const& aMapped)
{
    Luns luns;
    for (MappedLun const& lun : aMapped)
    {
        luns.insert(luns.end(), lun.mLun);
    }
    return luns;
}

}  // namespace qzagent
