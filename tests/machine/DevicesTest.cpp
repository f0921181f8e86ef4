// Scenarios that power the machine's USB devices, through the unchanged library. What the kernel counts and
// traces of them is the witness, not the board's journal.
#include "KernelEvents.h"
#include "ToolRuns.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace zeqcam::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto kTracer = "/sys/kernel/tracing/instances/zeqcam";
constexpr long kSleepMs = 300;
constexpr std::size_t kDevices = 8;

std::string readFile(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str().substr(0, text.str().find_last_not_of('\n') + 1);
}

void writeFile(std::string const& path, std::string const& text) {
    std::ofstream file(path);
    EXPECT_TRUE(file << text << std::flush) << path;
}

std::string powerFile(std::string const& device, std::string const& file) {
    return "/sys/bus/usb/devices/" + device + "/power/" + file;
}

long countOf(std::string const& device, std::string const& file) {
    return std::atol(readFile(powerFile(device, file)).c_str());
}

// "1-1", "1-2" and so on: the devices that the machine is started with, none of anybody else's.
std::vector<std::string> tablets() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator("/sys/bus/usb/devices")) {
        if (readFile(entry.path() / "product") == "QEMU USB Tablet") names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A sensor for each device, and a client with these steps; ALL stands for all sensors. An emulated device
// that obeys never takes as long as it may.
std::string scenarioOf(std::vector<std::string> const& devices, std::string const& steps,
                       int timeoutMs = 30000) {
    std::string text;
    std::string all;
    for (std::size_t id = 0; id < devices.size(); ++id) {
        text += "[[sensor]]\nid = " + std::to_string(id) + "\ndevice = '/sys/bus/usb/devices/" + devices[id] +
                "'\ndevice_timeout_ms = " + std::to_string(timeoutMs) + '\n';
        all += std::to_string(id) + ", ";
    }
    text += "[[controller]]\nname = 'photo'\nsensors = [" + all + "]\n[[client]]\nname = 'app'\n";
    return text + "controller = 'photo'\nsteps = [" +
           std::regex_replace(steps, std::regex("ALL"), '[' + all + ']') + "]\n";
}

// The kernel's own trace of runtime power management, while it stands.
class PowerTrace {
  public:
    PowerTrace() {
        std::filesystem::create_directory(kTracer);
        writeFile(std::string(kTracer) + "/events/rpm/enable", "1");
    }
    ~PowerTrace() {
        std::error_code none;
        std::filesystem::remove(kTracer, none);
    }
    PowerTrace(PowerTrace const&) = delete;
    PowerTrace& operator=(PowerTrace const&) = delete;

    // What became of each device, in order: "resume" and "suspend" that have succeeded and changed something.
    [[nodiscard]] static std::map<std::string, std::vector<std::string>> changes() {
        std::map<std::string, std::vector<std::string>> changes;
        std::istringstream trace(readFile(std::string(kTracer) + "/trace"));
        std::regex const done(R"(.*rpm_return_int: rpm_(resume|suspend)\+\S+:(\S+) ret=0)");
        std::smatch parts;
        for (std::string line; std::getline(trace, line);) {
            if (!std::regex_match(line, parts, done)) continue;
            auto& ofDevice = changes[parts[2]];
            // Asked once more for what it is already, the kernel may answer 0 too.
            if (ofDevice.empty() || ofDevice.back() != parts[1]) ofDevice.push_back(parts[1]);
        }
        return changes;
    }
};

// What the devices are attached to. Without its driver they are gone.
class UsbController {
  public:
    [[nodiscard]] std::string unbindCommand() const { return "echo " + mName + " > " + mDriver + "/unbind"; }

    // Returns when the kernel has found all its devices.
    void bindAgain() const {
        writeFile(mDriver + "/bind", mName);
        mEvents.waitUntil([] { return tablets().size() >= kDevices; });
    }

  private:
    KernelEvents const mEvents;
    std::string const mDriver = "/sys/bus/pci/drivers/xhci_hcd";
    std::string const mName =
        std::filesystem::canonical("/sys/bus/usb/devices/usb1").parent_path().filename().string();
};

class DevicesTest : public testing::Test {
  protected:
    void SetUp() override {
        if (mDevices.size() < kDevices) GTEST_SKIP() << "not in scripts/machine with its 8 USB devices";
        for (std::string const& device : mDevices) {
            writeFile(powerFile(device, "control"), "on");
            writeFile(powerFile(device, "autosuspend_delay_ms"), "2000");
        }
    }
    // Each test leaves the devices as it found them.
    void TearDown() override {
        for (std::string const& device : tablets()) {
            EXPECT_EQ(readFile(powerFile(device, "control")), "on") << device;
            EXPECT_EQ(readFile(powerFile(device, "autosuspend_delay_ms")), "2000") << device;
        }
    }

    std::vector<std::string> const mDevices = tablets();
};

TEST_F(DevicesTest, AreOnAndOffAsTheLibraryPowersThem) {
    std::string const sleep = "{ sleep_ms = " + std::to_string(kSleepMs) + " }, ";
    for (std::size_t const count : {std::size_t{2}, kDevices}) {
        std::vector<std::string> const devices(mDevices.begin(), mDevices.begin() + static_cast<long>(count));
        std::string steps = "{ power_on = ALL, expect = true }, " + sleep + "{ power_off = ALL }, " + sleep;
        for (std::size_t id = 0; id < count; ++id)
            steps += "{ power_on = [" + std::to_string(id) + "], expect = true }, ";
        steps += "{ powered = { 0 = true, 1 = true } }, " + sleep + "{ power_off = ALL }, " + sleep;
        std::map<std::string, long> on;
        std::map<std::string, long> off;
        for (std::string const& device : mDevices) {
            on[device] = countOf(device, "runtime_active_time");
            off[device] = countOf(device, "runtime_suspended_time");
        }
        PowerTrace const trace;
        auto const [status, output] = runScenario(scenarioOf(devices, steps));
        EXPECT_EQ(status, 0) << output;
        auto changes = trace.changes();
        for (std::string const& device : mDevices) {
            bool const isSensor = std::count(devices.begin(), devices.end(), device) > 0;
            long const onFor = countOf(device, "runtime_active_time") - on[device];
            long const offFor = countOf(device, "runtime_suspended_time") - off[device];
            EXPECT_EQ(offFor >= 2 * kSleepMs, isSensor) << device << " was off for " << offFor << " ms";
            EXPECT_GE(onFor, 2 * kSleepMs) << device;
            if (isSensor) {
                // Off before the run, twice on and off, and put back.
                EXPECT_THAT(changes[device],
                            ElementsAre("suspend", "resume", "suspend", "resume", "suspend", "resume"))
                    << device;
            } else {
                EXPECT_THAT(changes[device], IsEmpty()) << device;
            }
        }
    }
}

TEST_F(DevicesTest, ArePutBackWhateverEndsTheRun) {
    struct {
        int signal;
        int status;  // -1: the signal's own
    } const cases[] = {{SIGINT, 130}, {SIGTERM, 143}, {SIGABRT, -1}, {SIGKILL, -1}};
    for (auto const& [signal, status] : cases) {
        PowerTrace const trace;
        // What puts the devices back holds the output: its end is waited for.
        auto const ran =
            runScenario(scenarioOf(mDevices, "{ power_on = ALL }, { sleep_ms = 60000 }"), "", "&1", signal);
        EXPECT_EQ(ran.status, status) << ran.output;
        EXPECT_THAT(trace.changes()["1-1"], testing::Contains("suspend")) << "the run had begun";
        TearDown();
    }
}

TEST_F(DevicesTest, FailAPowerOffWhereSomebodyUsesOne) {
    std::string const number = readFile("/sys/bus/usb/devices/1-1/devnum");
    std::string const path = "/dev/bus/usb/001/" + std::string(3 - number.size(), '0') + number;
    int const user = open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(user, 0) << path;
    auto const [status, output] =
        runScenario(scenarioOf({"1-1"}, "{ power_on = ALL }, { power_off = ALL }", 2000));
    close(user);
    EXPECT_EQ(status, 1);
    EXPECT_THAT(output, AllOf(HasSubstr("not off before the run: /sys/bus/usb/devices/1-1: still active"),
                              HasSubstr("did not go off: still active after 2.00 s: somebody uses it")));
}

TEST_F(DevicesTest, FailAPowerOffWhenTheyGoAway) {
    UsbController const controller;
    TemporaryFile const file(
        ".toml", scenarioOf({"1-1"}, "{ power_on = ALL }, { sleep_ms = 10000 }, { power_off = ALL }"));
    auto const [status, output] = runCommand("\"" ZEQCAM_POWER_PATH "\" run " + file.path +
                                             " 2>&1 | while read -r line; do echo \"$line\"; case $line in "
                                             "*'powerOn -') " +
                                             controller.unbindCommand() + ";; esac; done");
    controller.bindAgain();
    EXPECT_THAT(output, HasSubstr("did not go off: the device is gone"));
    EXPECT_THAT(output, testing::Not(HasSubstr("not put back")));
}

TEST_F(DevicesTest, AreListedAndMadeAScenarioOfThatRuns) {
    Folder const folder;
    auto const [status, output] = runTool("devices --scenario " + folder.path("devices.toml"));
    EXPECT_EQ(status, 0);
    for (std::string const& device : mDevices)
        EXPECT_THAT(output, HasSubstr("/sys/bus/usb/devices/" + device + " QEMU USB Tablet"));
    EXPECT_EQ(runTool("check " + folder.path("devices.toml")).output, "");
    auto const ran = runTool("run " + folder.path("devices.toml"));
    EXPECT_EQ(ran.status, 0) << ran.output;
    // Who has no right to is told so, and nothing is powered.
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    auto const refused =
        runCommand("su client -c '" ZEQCAM_POWER_PATH " run " + folder.path("devices.toml") + "' 2>&1");
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.output,
                testing::MatchesRegex("zeqcam-power: .*:6: sensor.device: /sys/bus/usb/devices/1-1: "
                                      "power/control: Permission denied\n"));
}

}  // namespace
}  // namespace zeqcam::tests
