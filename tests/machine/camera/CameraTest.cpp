// A USB camera in the place of a sensor: the kernel's driver and its power management, a program's camera.
#include "KernelEvents.h"
#include "ToolRuns.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

namespace zeqcam::tests {
namespace {

using testing::HasSubstr;

constexpr auto kGadgets = "/dev/gadget";
constexpr auto kNode = "/dev/video0";
constexpr auto kRule = "/etc/udev/rules.d/70-camera-power.rules";

void mustSucceed(std::string const& command) {
    auto const [status, output] = runCommand(command + " 2>&1");
    ASSERT_EQ(status, 0) << command << '\n' << output;
}

// What the kernel counts, in milliseconds.
long countIn(std::string const& path) {
    long count = -1;
    std::ifstream(path) >> count;
    return count;
}

// A camera that is plugged in, until it goes. Its driver has it when the constructor returns.
class Camera {
  public:
    Camera() : mProcess(fork()) {
        if (mProcess == 0) {
            execl(ZEQCAM_USB_CAMERA_PATH, ZEQCAM_USB_CAMERA_PATH, kGadgets, nullptr);
            _exit(127);
        }
        mEvents.waitUntil([] { return std::filesystem::exists(kNode); });
    }
    ~Camera() {
        kill(mProcess, SIGTERM);
        waitpid(mProcess, nullptr, 0);
        mEvents.waitUntil([] { return !std::filesystem::exists(kNode); });
    }
    Camera(Camera const&) = delete;
    Camera& operator=(Camera const&) = delete;

  private:
    KernelEvents const mEvents;
    pid_t const mProcess;
};

// As a system has it, with one rule more.
class Udev {
  public:
    explicit Udev(std::string const& rule) {
        std::filesystem::create_directories(std::filesystem::path(kRule).parent_path());
        std::ofstream(kRule) << rule << '\n';
        mustSucceed("/lib/systemd/systemd-udevd --daemon");
    }
    ~Udev() {
        EXPECT_EQ(runCommand("udevadm control --exit 2>&1").status, 0);
        std::filesystem::remove(kRule);
    }
    Udev(Udev const&) = delete;
    Udev& operator=(Udev const&) = delete;

    // When it has done all that the kernel's events ask for.
    static void settle() { mustSucceed("udevadm settle"); }
};

class CameraTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists("/machine/command")) GTEST_SKIP() << "not in scripts/machine";
        mustSucceed("grep -v '^#' " ZEQCAM_CAMERA_MODULES
                    " | while read -r module; do name=$(basename $module .ko | tr - _); "
                    "[ -e /sys/module/$name ] || insmod /lib/modules/$module || exit 1; done");
        std::filesystem::create_directories(kGadgets);
        mustSucceed(std::string("grep -q ' gadgetfs ' /proc/mounts || mount -t gadgetfs none ") + kGadgets);
        std::filesystem::permissions(mFolder.path(), std::filesystem::perms::all);
    }

    // The scenario of all video devices that the tool makes.
    [[nodiscard]] std::string scenario() const {
        std::string const path = mFolder.path("camera.toml");
        EXPECT_EQ(runTool("devices --video --scenario " + path).status, 0);
        return path;
    }

  private:
    Folder const mFolder;
};

TEST_F(CameraTest, IsListedFirstAndPoweredAsASensor) {
    Camera const camera;
    nlohmann::json const devices = nlohmann::json::parse(runTool("devices --json").output).at("devices");
    ASSERT_GE(devices.size(), 9U) << "a camera beside the tablets";
    EXPECT_EQ(devices.at(0).at("name"), "Test camera");
    EXPECT_EQ(devices.at(0).at("driver"), "uvcvideo");
    EXPECT_EQ(devices.at(0).at("video"), true);
    EXPECT_EQ(devices.at(1).at("video"), false);
    std::string const power = devices.at(0).at("path").get<std::string>() + "/power/";
    long const on = countIn(power + "runtime_active_time");
    long const off = countIn(power + "runtime_suspended_time");
    auto const ran = runTool("run " + scenario());
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_THAT(ran.output, testing::Not(HasSubstr("went wrong")));
    EXPECT_GT(countIn(power + "runtime_active_time"), on);
    EXPECT_GT(countIn(power + "runtime_suspended_time"), off);

    // Whoever has its node open keeps it on.
    int const viewer = open(kNode, O_RDWR | O_CLOEXEC);
    ASSERT_GE(viewer, 0);
    auto const result = nlohmann::json::parse(runTool("run -qq --json " + scenario(), "/dev/null").output);
    close(viewer);
    std::string reasons;
    for (auto const& request : result.at("requests"))
        for (auto const& failure : request.at("failures"))
            reasons +=
                failure.at("call").get<std::string>() + ": " + failure.at("reason").get<std::string>() + '\n';
    EXPECT_THAT(reasons, HasSubstr("power off: still active after"));
    EXPECT_THAT(reasons, HasSubstr(": somebody uses it\n"));
}

TEST_F(CameraTest, IsAnotherUsersToPowerWithTheRuleOfThePage) {
    std::string rule;
    std::ifstream page(ZEQCAM_DEVICES_PAGE);
    while (rule.find("ACTION==") == std::string::npos && std::getline(page, rule)) {
    }
    ASSERT_THAT(rule, HasSubstr("RUN+="));
    auto const runAsAnother = [this] {
        return runCommand("su client -c '" ZEQCAM_POWER_PATH " run " + scenario() + "' 2>&1");
    };
    {
        Camera const camera;
        auto const refused = runAsAnother();
        EXPECT_EQ(refused.status, 2);
        EXPECT_THAT(refused.output, HasSubstr("power/control: Permission denied"));
    }
    Udev const udev(rule);
    Camera const camera;
    Udev::settle();
    auto const ran = runAsAnother();
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_THAT(ran.output, testing::Not(HasSubstr("went wrong")));
}

}  // namespace
}  // namespace zeqcam::tests
