// Results of one run, which stand for it among many.
#include "Happened.h"
#include "series/ResultReading.h"
#include "series/RunFigures.h"
#include "views/ResultFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zeqcam::tests;
using namespace zeqcam::tool;
using testing::ElementsAre;
using zeqcam::board::Kind;
using Of = Subject::Of;

Series readBack(Record& record) {
    record.files = {"phone.toml"};
    std::string const path = testing::TempDir() + "one-" + std::to_string(getpid()) + ".json";
    std::ofstream file(path);
    writeResult(record, {}, file);
    file.close();
    Series series = readResult(path);
    std::remove(path.c_str());
    return series;
}

// "app: power on main tele at 0: 33": each request that ended, or "-".
std::vector<std::string> linesOf(Series const& series) {
    std::vector<std::string> lines;
    for (Series::Measured const& each : series.measured()) {
        std::string line = textOf(each.subject);
        for (Series::Sample const& sample : each.samples)
            line += " at " + std::to_string(static_cast<int>(sample.beganMs)) + ": " +
                    std::to_string(static_cast<int>(sample.ms));
        lines.push_back(line + (each.samples.empty() ? " -" : "") + (each.failed.empty() ? "" : " failed"));
    }
    return lines;
}

TEST(OneResult, NamesItsRequestsAsManyRunsDo) {
    auto happened = aRun();
    happened.insert(happened.end(), {{70, 7, Kind::Request, "thread 7", 0, 0, "power on", {5}},
                                     {74, 7, Kind::Reply, "thread 7", 0, 1, "power on"},
                                     {80, 7, Kind::Request, "thread 7", 0, 0, "power on", {5}},
                                     {85, 7, Kind::Reply, "thread 7", 0, 1, "power on"},
                                     {90, 7, Kind::Request, "thread 7", 0, 0, "status", {}},
                                     {90, 7, Kind::Reply, "thread 7", 0, 0, "status"}});
    Record record = namedRecord(happened);
    record.seed = 42;
    Series const series = readBack(record);
    EXPECT_THAT(series.runs(), ElementsAre(42));
    EXPECT_THAT(linesOf(series),
                ElementsAre("app: power on main tele at 0: 33", "app: power off main tele at 40: 12",
                            "app: power on tele - failed", "power on 5 at 70: 4", "power on 5 (2) at 80: 5",
                            "status at 90: 0"));
    std::vector<std::string> ofMany;
    std::vector<std::string> ofOne;
    for (Figure const& each : figuresOf(record, {}, 42).figures) {
        if (each.subject.of == Of::Request) ofMany.push_back(textOf(each.subject));
    }
    for (Series::Measured const& each : series.measured()) ofOne.push_back(textOf(each.subject));
    EXPECT_EQ(ofOne, ofMany);
}

TEST(OneResult, FailsByItsVerdictAndItsExpectations) {
    Record record = namedRecord(aRun());
    record.expectations = {{.line = 12,
                            .client = 1,
                            .request = 1,
                            .step = RequestKind::PowerOff,
                            .state = Expectation::State::Unmet,
                            .unmet = record.texts.add("took 12.0 ms")}};
    for (Request& request : record.requests) request.line = 11;
    record.requests[1].line = 12;
    EXPECT_EQ(linesOf(readBack(record))[1], "app: power off main tele at 40: 12 failed");
    ASSERT_EQ(readBack(record).failedRuns().size(), 1U);
    EXPECT_FALSE(readBack(record).failedRuns()[0].isCutOff);
    record.cutOff = "was interrupted";
    EXPECT_TRUE(readBack(record).failedRuns().at(0).isCutOff);
}

}  // namespace
