// Lists the adapters of this host and the World Wide Names of their ports.
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>
#include <string>

#include <hbaapi.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace
{
/// Loads the common library of the HBA API, and frees it even after an exception.
class LoadedHbaapi
{
public:
    explicit LoadedHbaapi(QZCHbaapiAbs& aHbaapi) : mHbaapi(aHbaapi) { mHbaapi.HA_LoadHbaapi(); }
    ~LoadedHbaapi() { mHbaapi.HA_FreeHbaapi(); }
    LoadedHbaapi(LoadedHbaapi const&) = delete;

private:
    QZCHbaapiAbs& mHbaapi;
};

/// Opens an adapter, and closes it even after an exception.
class OpenAdapter
{
public:
    OpenAdapter(QZCHbaapiAbs& aHbaapi, std::string aName)
        : mHbaapi(aHbaapi), mHandle(mHbaapi.HA_OpenAdapter(aName.data()))
    {
    }
    ~OpenAdapter() { mHbaapi.HA_CloseAdapter(mHandle); }
    OpenAdapter(OpenAdapter const&) = delete;
    unsigned int handle() const { return mHandle; }

private:
    QZCHbaapiAbs& mHbaapi;
    unsigned int const mHandle;
};

void listPorts(QZCHbaapiAbs& aHbaapi, char const* aName)
{
    OpenAdapter const adapter(aHbaapi, aName);
    // The caller owns the memory that the layer allocates.
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> const attributes(
        aHbaapi.HA_GetAdapterAttributes(adapter.handle()));
    unsigned int count = 0;
    std::unique_ptr<HBA_PORTATTRIBUTES[]> const ports(
        aHbaapi.HA_GetAdapterPorts(adapter.handle(), attributes.get(), count));
    for (unsigned int index = 0; index < count; ++index)
    {
        QZCWorldWideName const name(ports[index].PortWWN.wwn);
        std::printf("  port %u %s\n", index, name.getStringForm().get());
    }
}
}  // namespace

int main()
try
{
    QZCHbaapiAbs hbaapi;
    LoadedHbaapi const loaded(hbaapi);
    QZCVector<QZCString> names;
    hbaapi.HA_GetAdapterNames(hbaapi.HA_GetNumberOfAdapters(), names);
    for (QZCString const& name : names)
    {
        std::printf("%s\n", name.get());
        listPorts(hbaapi, name.get());
    }
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "inventory: %s\n", exception.what());
    return 1;
}
