// Scenarios whose sensors are devices of a tree like the kernel's, played by the tool's own run.
#include "FakeSysfs.h"
#include "devices/RealDevices.h"
#include "files/OutputFile.h"
#include "run/Run.h"
#include "scenario/ScenarioReader.h"
#include "views/FailureText.h"
#include "views/ResultFile.h"
#include "views/SvgTimeline.h"
#include "views/TraceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

using namespace zeqcam::tool;
using Does = FakeSysfs::Does;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A sensor for each device, from 0 on; the first stands on line 1, each takes five lines. A device that obeys
// never takes as long as it may.
Scenario scenarioOf(std::vector<std::string> const& devices, std::string const& steps,
                    int timeoutMs = 60000) {
    std::string text;
    std::string ids;
    for (std::size_t id = 0; id < devices.size(); ++id) {
        text +=
            "[[sensor]]\nid = " + std::to_string(id) + "\nname = 'sensor of " + std::to_string(id) + "'\n";
        text += devices[id].empty() ? "\n\n"
                                    : "device = '" + devices[id] +
                                          "'\ndevice_timeout_ms = " + std::to_string(timeoutMs) + '\n';
        ids += std::to_string(id) + ", ";
    }
    text += "[[controller]]\nname = 'photo'\nsensors = [" + ids + "]\n";
    text += "[[client]]\nname = 'app'\ncontroller = 'photo'\nsteps = [" + steps + "]\n";
    auto read = readScenario(text);
    for (Fault const& fault : read.faults) ADD_FAILURE() << faultText(fault, "");
    return std::move(read.scenario);
}

std::string usb(std::string const& name) {
    return "/sys/bus/usb/devices/" + name;
}

// As anybody but root, as long as it stands.
class Unprivileged {
  public:
    Unprivileged() { EXPECT_EQ(mUser == 0 ? seteuid(65534) : 0, 0); }
    ~Unprivileged() { EXPECT_EQ(mUser == 0 ? seteuid(0) : 0, 0); }
    Unprivileged(Unprivileged const&) = delete;
    Unprivileged& operator=(Unprivileged const&) = delete;

  private:
    uid_t const mUser = geteuid();
};

class RealDevicesTest : public testing::Test {
  protected:
    // What is wrong with the devices of a scenario before it is played; empty: nothing.
    std::string complaintOf(std::vector<std::string> const& devices) {
        Scenario scenario = scenarioOf(devices, "{ status = {} }");
        try {
            RealDevices const real(mTree.sysfs(), scenario, "real.toml");
            return {};
        } catch (CannotOpen const& error) {
            return error.what();
        }
    }

    Record played(Scenario scenario) {
        RealDevices const real(mTree.sysfs(), scenario, "real.toml");
        mStillOn = real.stillOn();
        tool::Run run(scenario, tool::Run::Drains::AtTheEnd, [] {});
        run.join();
        return run.record();
    }

    FakeSysfs mTree;
    std::vector<std::string> mStillOn;
};

TEST_F(RealDevicesTest, SaysInOneLineWhatIsWrongBeforeAnythingIsChanged) {
    mTree.addUsb("1-1");
    mTree.put(mTree.addUsb("1-2") + "/power/runtime_status", "unsupported\n");
    mTree.put("devices/usb1/1-3/product", "without a power folder\n");
    mTree.link("bus/usb/devices/1-3", "devices/usb1/1-3");
    mTree.link("class/same", "devices/usb1/1-1");
    mTree.put("kernel/power/control", "on\n");
    struct {
        std::vector<std::string> devices;
        std::string complaint;
    } const cases[] = {
        {{usb("1-1"), usb("1-9")}, "9: sensor.device: /sys/bus/usb/devices/1-9: there is no such device"},
        {{usb("1-2")},
         "4: sensor.device: /sys/bus/usb/devices/1-2: it has no runtime power management: "
         "power/runtime_status is unsupported"},
        {{usb("1-3")}, "4: sensor.device: /sys/bus/usb/devices/1-3: it has no runtime power management"},
        {{usb("1-1"), "", "/sys/class/same"},
         "14: sensor.device: /sys/class/same: stands for the sensor \"sensor of 0\" already"},
        {{"/sys/kernel"}, "4: sensor.device: /sys/kernel: no device: /sys/kernel is not in /sys/devices"},
        {{"/sys/devices/../kernel"},
         "4: sensor.device: /sys/devices/../kernel: no device: /sys/kernel is not in /sys/devices"},
        {{usb("1-1/bDeviceClass")},
         "4: sensor.device: /sys/bus/usb/devices/1-1/bDeviceClass: a file of a device, not its folder"},
    };
    for (auto const& [devices, complaint] : cases) EXPECT_EQ(complaintOf(devices), "real.toml:" + complaint);
    EXPECT_EQ(mTree.policyOf("1-1"), "on 2000");
    EXPECT_THAT(mTree.changes(), IsEmpty());
}

TEST_F(RealDevicesTest, SaysSoWhereTheUserMayNotControlADevice) {
    mTree.addUsb("1-1");
    mTree.protect("1-1", "control");
    Unprivileged const user;
    EXPECT_EQ(complaintOf({usb("1-1")}),
              "real.toml:4: sensor.device: /sys/bus/usb/devices/1-1: power/control: Permission denied");
}

TEST_F(RealDevicesTest, PutsBackWhatItChangedWhereADeviceTurnsOutToBeForbidden) {
    mTree.addUsb("1-1");
    mTree.put(mTree.addUsb("1-2") + "/power/runtime_enabled", "forbidden\n");
    EXPECT_EQ(
        complaintOf({usb("1-1"), usb("1-2")}),
        "real.toml:9: sensor.device: /sys/bus/usb/devices/1-2: its runtime power management is forbidden");
    EXPECT_EQ(mTree.policyOf("1-1"), "on 2000");
    EXPECT_EQ(mTree.policyOf("1-2"), "on 2000");
}

TEST_F(RealDevicesTest, PowersDevicesBesideSimulatedSensorsAndLeavesThemAsTheyWere) {
    mTree.addUsb("1-1");
    mTree.put(mTree.addUsb("1-2") + "/power/control", "auto\n");
    Record const record =
        played(scenarioOf({usb("1-1"), "", usb("1-2")},
                          "{ power_on = [0, 1, 2], expect = true }, { power_off = [0, 1] }, "
                          "{ powered = { 0 = false, 2 = true } }, { power_off = [2] }"));
    for (Expectation const& each : record.expectations) {
        EXPECT_EQ(each.state, Expectation::State::Held) << record.textOf(each.unmet);
    }
    EXPECT_THAT(failureLines(record), IsEmpty());
    EXPECT_THAT(mStillOn, IsEmpty());
    auto const changes = mTree.changes();
    auto const of = [&](std::string const& device) {
        std::vector<std::string> own;
        for (std::string const& change : changes) {
            if (change.starts_with(device)) own.push_back(change.substr(device.size() + 1));
        }
        return own;
    };
    EXPECT_THAT(of("1-1"), ElementsAre("suspended", "active", "suspended", "active"));
    EXPECT_THAT(of("1-2"), ElementsAre("suspended", "active", "suspended"));
    EXPECT_EQ(mTree.policyOf("1-1"), "on 2000");
    EXPECT_EQ(mTree.policyOf("1-2"), "auto 2000");
}

// "power on: the device is gone", of each failure of sensor 0 that stands with its request in the results.
std::vector<std::string> failuresInResult(Record const& record) {
    std::vector<std::string> failures;
    auto const result = resultOf(record, {});
    for (auto const& request : result.at("requests")) {
        for (auto const& failure : request.at("failures")) {
            if (failure.at("sensor") != 0) continue;
            EXPECT_EQ(failure.at("call"), request.at("request"));
            failures.push_back(failure.at("call").get<std::string>() + ": " +
                               failure.at("reason").get<std::string>());
        }
    }
    return failures;
}

TEST_F(RealDevicesTest, FailsAPowerChangeWithTheReasonOnTheTimeline) {
    struct {
        Does does;
        std::string why;
        int timeoutMs = 60000;
    } const cases[] = {
        {Does::GoesAway, "sensor of 0 did not come up: the device is gone"},
        {Does::StaysUp, "sensor of 0 did not go off: still active after 50.0 ms: somebody uses it", 50},
        {Does::StaysDown, "sensor of 0 did not come up: still suspended after 50.0 ms", 50},
        {Does::Fails, "sensor of 0 did not come up: power/runtime_status is error: its driver has failed"},
        {Does::Breaks, "sensor of 0 did not come up: power/runtime_status: Input/output error"},
    };
    int number = 0;
    for (auto const& [does, why, timeoutMs] : cases) {
        std::string const name = "1-" + std::to_string(++number);
        mTree.addUsb(name, does);
        Record record = played(scenarioOf({usb(name)}, "{ power_on = [0] }, { power_off = [0] }", timeoutMs));
        record.files = {"real.toml"};
        auto const failures = failureLines(record);
        EXPECT_THAT(failures, testing::Contains(HasSubstr(why)));
        if (does == Does::StaysUp) {
            EXPECT_THAT(mStillOn, ElementsAre(usb(name) + ": still active after 50.0 ms: somebody uses it"));
        }
        std::string const reason = why.substr(why.find(": ") + 2);
        std::ostringstream trace;
        writeTrace(record, {}, trace);
        EXPECT_THAT(trace.str(), HasSubstr("\"why\":\"" + reason));
        std::string const call = why.find("go off") == std::string::npos ? "power on: " : "power off: ";
        EXPECT_THAT(failuresInResult(record), testing::Contains(testing::StartsWith(call + reason)));
        std::ostringstream picture;
        writeSvg(record, {}, picture);
        EXPECT_THAT(picture.str(), HasSubstr(", failed: " + reason));
        EXPECT_EQ(mTree.policyOf(name), does == Does::GoesAway ? "none none" : "on 2000") << why;
    }
}

// The run may end while a power-on waits: nobody touches the device after it was put back.
TEST_F(RealDevicesTest, TouchesNoDeviceAfterItWasGivenBack) {
    mTree.addUsb("1-1");
    Scenario scenario = scenarioOf({usb("1-1")}, "{ status = {} }");
    RealDevices real(mTree.sysfs(), scenario, "real.toml");
    auto const power = scenario.settings.sensors.at(0).powerSwitch;
    EXPECT_EQ(power->powerOn(), "");
    real.giveBack();
    real.giveBack();
    EXPECT_EQ(power->powerOff(), "the run is over");
    EXPECT_EQ(mTree.policyOf("1-1"), "on 2000");
}

// Whoever is killed closes its end of the pipe, and what puts the devices back has the other one.
TEST_F(RealDevicesTest, PutsDevicesBackWhenTheProcessIsKilled) {
    mTree.addUsb("1-1");
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    pid_t const run = fork();
    if (run == 0) {
        close(ends[0]);
        Scenario scenario = scenarioOf({usb("1-1")}, "{ status = {} }");
        RealDevices const real(mTree.sysfs(), scenario, "real.toml");
        if (write(ends[1], "r", 1) == 1) pause();
        _exit(1);
    }
    close(ends[1]);
    char ready = 0;
    ASSERT_EQ(read(ends[0], &ready, 1), 1);
    EXPECT_EQ(mTree.policyOf("1-1"), "auto 0");
    kill(run, SIGKILL);
    waitpid(run, nullptr, 0);
    EXPECT_EQ(read(ends[0], &ready, 1), 0) << "nobody holds the pipe any more";
    close(ends[0]);
    EXPECT_EQ(mTree.policyOf("1-1"), "on 2000");
}

TEST(RequireSimulated, RefusesADeviceWithItsPlace) {
    requireSimulated(scenarioOf({""}, "{ status = {} }"), "real.toml");
    try {
        requireSimulated(scenarioOf({"", usb("1-1")}, "{ status = {} }"), "real.toml");
        FAIL() << "a device is taken for simulated";
    } catch (CannotOpen const& error) {
        EXPECT_STREQ(error.what(),
                     "real.toml:9: sensor.device: a real device takes real time: such a scenario "
                     "does not run in virtual time");
    }
}

}  // namespace
}  // namespace zeqcam::tests
