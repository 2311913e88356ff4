// Every status at every call of each query of the HBA API layer. The expected results are computed from the rules of
// each query, which are implemented independently here.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/testing/FakeHbaapi.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tests/support/CallLog.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

namespace
{
using Statuses = std::vector<HBA_STATUS>;

constexpr HBA_STATUS ok = 0;
constexpr HBA_STATUS statusNotSupported = 2;
constexpr HBA_STATUS moreData = 7;
constexpr HBA_STATUS checkCondition = 9;
constexpr HBA_STATUS busy = 10;

/// The actual or expected course of a query.
struct Course
{
    std::string mOutcome;
    unsigned int mCalls;
    unsigned int mSleeps;
};

bool operator==(Course const& aLeft, Course const& aRight)
{
    return aLeft.mOutcome == aRight.mOutcome && aLeft.mCalls == aRight.mCalls &&
           aLeft.mSleeps == aRight.mSleeps;
}

std::ostream& operator<<(std::ostream& aOut, Course const& aCourse)
{
    return aOut << '"' << aCourse.mOutcome << "\" after " << aCourse.mCalls << " calls and "
                << aCourse.mSleeps << " sleeps";
}

/// The layer with an HBA API that returns these answers.
struct AnsweredScene
{
    explicit AnsweredScene(Statuses const& aScript)
    {
        mHbaapi.mOnCall = logCall;
        mHbaapi.mLoadStatus = aScript.front();
        for (HBA_STATUS const status : aScript)
        {
            mHbaapi.mNames.push_back({status, "sim"});
            mHbaapi.mAdapterAttributes.push_back(
                {status, [](HBA_ADAPTERATTRIBUTES& aFilled) { aFilled.NumberOfPorts = 4; }});
            mHbaapi.mPortAttributes.push_back({status});
            mHbaapi.mTargetMappings.push_back({status});
            mHbaapi.mReportLuns.push_back({status});
        }
    }

    qz::FakeHbaapi mHbaapi;
    LogCapture mLog;
    QZCHbaapiAbs mLayer;
};

struct Query
{
    std::string mName;
    std::vector<Statuses> mBefore;  ///< the answers before the status under test
    std::function<void(AnsweredScene&)> mRun;
    std::function<Course(Statuses const&)> mExpect;
};

std::ostream& operator<<(std::ostream& aOut, Query const& aQuery) { return aOut << aQuery.mName; }

Course courseOf(Query const& aQuery, Statuses const& aScript)
{
    AnsweredScene scene(aScript);
    std::string const outcome = outcomeOf([&] { aQuery.mRun(scene); });
    auto const& lines = scene.mLog.lines();
    auto const sleeps = std::count(lines.begin(), lines.end(), call("ClibSleepMS(1000)"));
    return {outcome, static_cast<unsigned int>(scene.mHbaapi.calls().size()),
            static_cast<unsigned int>(sleeps)};
}

void load(AnsweredScene& aScene) { aScene.mLayer.HA_LoadHbaapi(); }

void getNames(AnsweredScene& aScene)
{
    QZCVector<QZCString> names;
    aScene.mLayer.HA_GetAdapterNames(4, names);
}

void getAttributes(AnsweredScene& aScene)
{
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> const attributes(aScene.mLayer.HA_GetAdapterAttributes(7));
}

void getPorts(AnsweredScene& aScene)
{
    HBA_ADAPTERATTRIBUTES adapter = {};
    adapter.NumberOfPorts = 4;
    unsigned int numPorts = 0;
    std::unique_ptr<HBA_PORTATTRIBUTES[]> const ports(
        aScene.mLayer.HA_GetAdapterPorts(7, &adapter, numPorts));
}

void getMappings(AnsweredScene& aScene)
{
    HBA_FCPTargetMapping* mapping = nullptr;
    std::free(aScene.mLayer.HA_GetTargetMappings(7, mapping));
}

void sendReportLuns(AnsweredScene& aScene)
{
    std::unique_ptr<void, decltype(&std::free)> const response(std::malloc(16), &std::free);
    void* buffer = response.get();
    unsigned int size = 16;
    aScene.mLayer.HA_SendReportLUNs(7, HBA_wwn{}, &buffer, &size);
}

/// Every item takes one call. The first failure ends the query.
std::function<Course(Statuses const&)> itemByItem(unsigned int aNumItems,
                                                  std::function<std::string(HBA_STATUS)> aFailure)
{
    return [=](Statuses const& aScript)
    {
        for (unsigned int i = 0; i < aNumItems; ++i)
        {
            if (aScript[i] != ok)
            {
                return Course{aFailure(aScript[i]), i + 1, 0};
            }
        }
        return Course{done, aNumItems, 0};
    };
}

std::function<std::string(HBA_STATUS)> always(std::string aOutcome)
{
    return [=](HBA_STATUS) { return aOutcome; };
}

std::string attributesFailure(HBA_STATUS aStatus)
{
    return aStatus == statusNotSupported
               ? "QZCHbaapiEx 802: HBA_GetAdapterAttributes encounter non-supported Adapter"
               : "QZCHbaapiEx 802: HBA_GetAdapterAttributes method failed";
}

/// A busy adapter is queried five times in total, with a wait after each busy answer. More data is requested without a
/// limit.
Course expectMappings(Statuses const& aScript)
{
    Course course = {"QZCHbaapiEx 802: HBA_GetFcpTargetMapping method failed", 0, 0};
    for (HBA_STATUS const status : aScript)
    {
        ++course.mCalls;
        course.mSleeps += status == busy ? 1 : 0;
        if (status == ok)
        {
            course.mOutcome = done;
        }
        if (status != moreData && (status != busy || course.mSleeps == 5))
        {
            break;
        }
    }
    return course;
}

/// A busy answer or a check condition is retried while there were fewer than five attempts, including those that
/// reported more data.
Course expectReportLuns(Statuses const& aScript)
{
    Course course = {"QZCHbaapiEx 802: HBA_SendReportLUNs method failed", 0, 0};
    for (HBA_STATUS const status : aScript)
    {
        ++course.mCalls;
        if (status == ok)
        {
            course.mOutcome = done;
        }
        bool const isTransient = status == busy || status == checkCondition;
        if (status != moreData && (!isTransient || course.mCalls >= 5))
        {
            break;
        }
    }
    return course;
}

/// Zero to three successes.
std::vector<Statuses> successes() { return {{}, {ok}, {ok, ok}, {ok, ok, ok}}; }

/// All sequences of up to five of the two statuses.
std::vector<Statuses> mixtures(HBA_STATUS aOne, HBA_STATUS aOther)
{
    std::vector<Statuses> all = {{}};
    for (std::size_t i = 0; i < all.size() && all[i].size() < 5; ++i)
    {
        for (HBA_STATUS const next : {aOne, aOther})
        {
            Statuses longer = all[i];
            longer.push_back(next);
            all.push_back(longer);
        }
    }
    return all;
}

std::vector<Query> queries()
{
    auto const loading = always("QZCExitConditionEx 19: Can't load HBAAPI library!");
    auto const naming = always("QZCExitConditionEx 19: HBA_GetAdapterName method failed");
    auto const ports = always("QZCHbaapiEx 802: HBA_GetAdapterPortAttributes method failed");
    return {
        {"Load", {{}}, load, itemByItem(1, loading)},
        {"AdapterNames", successes(), getNames, itemByItem(4, naming)},
        {"AdapterAttributes", {{}}, getAttributes, itemByItem(1, attributesFailure)},
        {"AdapterPorts", successes(), getPorts, itemByItem(4, ports)},
        {"TargetMappings", mixtures(moreData, busy), getMappings, expectMappings},
        {"ReportLunsOfABusyPort", mixtures(moreData, busy), sendReportLuns, expectReportLuns},
        {"ReportLunsOfAPortWithConditions", mixtures(moreData, checkCondition), sendReportLuns,
         expectReportLuns},
        {"ReportLunsOfABusyPortWithConditions", mixtures(busy, checkCondition), sendReportLuns,
         expectReportLuns},
    };
}

/// The statuses of the standard, the first undefined number and the largest number.
Statuses everyStatus()
{
    Statuses statuses;
    for (HBA_STATUS status = 0; status <= 31; ++status)
    {
        statuses.push_back(status);
    }
    statuses.push_back(4294967295u);
    return statuses;
}

class HbaapiAnswers : public testing::TestWithParam<Query>
{
};

INSTANTIATE_TEST_SUITE_P(All, HbaapiAnswers, testing::ValuesIn(queries()),
                         [](testing::TestParamInfo<Query> const& aInfo) { return aInfo.param.mName; });

TEST_P(HbaapiAnswers, EveryStatusIsHandledAtEveryCall)
{
    for (Statuses const& before : GetParam().mBefore)
    {
        for (HBA_STATUS const status : everyStatus())
        {
            Statuses script = before;
            script.push_back(status);
            script.resize(script.size() + 4, ok);
            EXPECT_EQ(courseOf(GetParam(), script), GetParam().mExpect(script))
                << "answers " << testing::PrintToString(script);
        }
    }
}
}  // namespace
