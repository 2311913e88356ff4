// The second version of the HBA API through the real common library.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

using testing::AllOf;
using testing::HasSubstr;

namespace
{
class QzsimSecondVersion : public testing::Test
{
protected:
    /// @return what the probe prints, after it has loaded the library and opened the adapter
    std::string run(Arguments const& aSteps, std::string const& aMore = {})
    {
        std::string const scenario = mFolder.write(
            "scenario.toml",
            aMore +
                "[[adapter]]\nname = \"a\"\nnode_wwn = \"20:00:00:00:00:00:00:01\"\n"
                "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                "[adapter.port.fc4_statistics]\ninput_requests = 11\n"
                "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\nfc_id = 0x21\nluns = 2\n"
                "[[adapter.port.remote.lun]]\nlun = 0\nluid = \"7f\"\n"
                "[adapter.port.remote.lun.fcp_statistics]\ninput_requests = 12\n"
                "[[adapter.event]]\ntype = \"ADAPTER_ADD\"\nat_ms = 100\n"
                "[[adapter.event]]\ntype = \"ADAPTER_CHANGE\"\nat_ms = 100\ncount = 2\n"
                "[[adapter.event]]\ntype = \"PORT_FABRIC\"\nfabric_port_id = 0x010203\nat_ms = 100\n"
                "[[adapter.event]]\ntype = \"PORT_STAT_GROWTH\"\nat_ms = 100\n"
                "[[adapter.event]]\ntype = \"TARGET_OFFLINE\"\nremote_wwn = \"50:00:00:00:00:00:00:02\"\n"
                "at_ms = 100\n"
                "[[adapter.event]]\ntype = \"LINK_INCIDENT\"\npayload = \"07 08 09 0a 0b\"\nat_ms = 100\n");
        Arguments arguments{"--scenario", scenario, HBA_PROBE, "load", "count", "open=a"};
        arguments.insert(arguments.end(), aSteps.begin(), aSteps.end());
        return runQzsim(arguments).mOutput;
    }

    ScratchFolder mFolder;
};

constexpr char const* onlyPort = "10:00:00:00:00:00:00:01";
constexpr char const* onlyTarget = "50:00:00:00:00:00:00:02";

TEST_F(QzsimSecondVersion, UnmodifiedProgramOpensAdaptersByName)
{
    EXPECT_THAT(run({"openByWwn=20:00:00:00:00:00:00:01", "attributes", std::string("openByWwn=") + onlyPort,
                     std::string("openByWwn=") + onlyTarget}),
                HasSubstr("open 20:00:00:00:00:00:00:01: 0, handle\nattributes: 0 \"\" with 1 ports\n"
                          "open 10:00:00:00:00:00:00:01: 0, handle\n"
                          "open 50:00:00:00:00:00:00:02: 5, no handle\n"));
}

TEST_F(QzsimSecondVersion, UnmodifiedProgramMapsTargetsAndSendsCommands)
{
    std::string const both = std::string(onlyPort) + '/' + onlyTarget;
    EXPECT_THAT(run({std::string("mappingsV2=") + onlyPort, "targetV2=" + both}),
                HasSubstr("mappings V2: 7 of 2, id 000021, luid 7f\n"
                          "luns V2: 0, SCSI status 0, 24 bytes, 0 of sense\n"
                          "inquiry V2: 0, SCSI status 0, 36 bytes \"EXAMPLE SIMULATED DISK  1.0 \"\n"
                          "capacity V2: 0, SCSI status 0, 8 bytes\n"));
}

TEST_F(QzsimSecondVersion, UnmodifiedProgramReadsFc4Statistics)
{
    EXPECT_THAT(run({std::string("fc4Statistics=") + onlyPort, "fcpStatistics=0", "fcpStatistics=2"}),
                HasSubstr("FC-4 statistics: 0, 11\nFCP statistics: 0, 12\nFCP statistics: 14, 0\n"));
}

// The common library crashes when the callback for new adapters is removed while it runs. It has returned when the same
// thread sends a later event.
TEST_F(QzsimSecondVersion, UnmodifiedProgramReceivesEventsOfAdapters)
{
    EXPECT_THAT(run({"watchAdapters", "watchAdapter", "await=3", "unwatch", "unwatchAdapters", "free"}),
                AllOf(HasSubstr("new adapter: 101 of 1\n"),
                      HasSubstr("adapter event: 103 of 1\nadapter event: 103 of 1\nevents: all\nunwatch: 0\n"
                                "unwatch adapters: 0\nfree: 0\n")));
}

TEST_F(QzsimSecondVersion, UnmodifiedProgramReceivesEventsOfPortsAndTargets)
{
    EXPECT_THAT(
        run({std::string("watchPort=") + onlyPort, "await=1", "unwatch",
             std::string("watchTargets=") + onlyPort, "await=1", "unwatch", "free"}),
        HasSubstr("watch port: 0\nport event: 204 of 1, fabric port 010203\nevents: all\nunwatch: 0\n"
                  "watch targets: 0\ntarget event: 401 of 2 at 1\nevents: all\nunwatch: 0\nfree: 0\n"));
}

TEST_F(QzsimSecondVersion, UnmodifiedProgramReceivesTheDataOfLinkEvents)
{
    EXPECT_THAT(
        run({"watchLink", "await=1", "unwatch"}),
        HasSubstr("watch link: 0\nlink event: 501 of 1, 4 bytes, first 7\nevents: all\nunwatch: 0\n"));
}

// The common library keeps a lock after the first event of statistics. It hangs when the callback is removed.
TEST_F(QzsimSecondVersion, UnmodifiedProgramReceivesAnEventOfStatistics)
{
    EXPECT_THAT(run({std::string("watchStatistics=") + onlyPort, "await=1"}),
                HasSubstr("watch statistics: 0\nstatistics event: 302 of 1\nevents: all\n"));
}

TEST_F(QzsimSecondVersion, ProgramMayEndWhileItWaitsForEvents)
{
    // A slow program gets some of the events.
    EXPECT_THAT(run({"watchAdapter", "watchLink"}),
                AllOf(HasSubstr("watch adapter: 0\n"), HasSubstr("watch link: 0\n")));
}

TEST_F(QzsimSecondVersion, LibraryOfLinuxOffersNoEvents)
{
    EXPECT_THAT(
        run({"watchAdapters", "watchAdapter", std::string("watchPort=") + onlyPort,
             std::string("watchStatistics=") + onlyPort, std::string("watchTargets=") + onlyPort, "watchLink",
             std::string("openByWwn=") + onlyPort},
            "behaviour = \"linux\"\n"),
        HasSubstr("open a: 256\nwatch adapters: 2\nwatch adapter: 2\nwatch port: 2\nwatch statistics: 2\n"
                  "watch targets: 2\nwatch link: 2\nopen 10:00:00:00:00:00:00:01: 5, no handle\n"));
}
}  // namespace
