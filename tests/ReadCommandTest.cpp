#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// `zeqcam-power read`, as a user starts it.
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

struct Output {
    std::string text;  // of both outputs
    int status = -1;
};

class ReadCommand : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(mFolder); }
    void TearDown() override { std::filesystem::remove_all(mFolder); }

    [[nodiscard]] std::string path(std::string const& name) const { return mFolder + '/' + name; }

    [[nodiscard]] std::string write(std::string const& name, std::string const& text) const {
        std::ofstream(path(name)) << text;
        return path(name);
    }

    static std::string contentOf(std::string const& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    static Output run(std::string const& arguments, std::string const& before = "") {
        std::string const command = before + "COLUMNS=100 '" ZEQCAM_POWER_PATH "' " + arguments + " 2>&1";
        Output output;
        std::FILE* const pipe = popen(command.c_str(), "r");
        std::array<char, 4096> block{};
        while (std::size_t const size = std::fread(block.data(), 1, block.size(), pipe))
            output.text.append(block.data(), size);
        int const status = pclose(pipe);
        if (WIFEXITED(status)) output.status = WEXITSTATUS(status);
        return output;
    }

    // Sensor 3 of 0 and 3 fails; `process` has done so.
    static std::string logOf(int process) {
        std::string text;
        auto const add = [&](char const* time, int thread, char level, std::string const& message) {
            text += std::string("11-23 10:42:") + time + "  " + std::to_string(process) + "  " +
                    std::to_string(thread) + ' ' + level + " zeqcam-PowerOnOffController: " + message + '\n';
        };
        add("00.010", 903, 'D', "[PowerOnOffController::powerOn] get PowerOnLock, Sensor power on");
        add("00.010", 903, 'D', "[PowerOnOffController::operator()] sensorId(0) state: PowerOngoing");
        add("00.010", 903, 'D', "[PowerOnOffController::operator()] sensorId(3) state: PowerOngoing");
        add("00.010", 903, 'I', "[PowerOnOffController::powerOnOps] powerOn +");
        add("00.011", 907, 'D', "[initSensor] powerOnSensor: 0");
        add("00.011", 908, 'D', "[initSensor] powerOnSensor: 3");
        add("00.052", 908, 'E', "[initSensor] sensorIndex:3 powerOn failed");
        add("00.063", 903, 'I', "[PowerOnOffController::powerOnOps] 3A notifyPowerOn");
        add("00.063", 903, 'I', "[PowerOnOffController::powerOnOps] powerOn -");
        add("00.090", 903, 'I', "[PowerOnOffController::powerOff] powerOff +");
        add("00.117", 903, 'I', "[PowerOnOffController::powerOff] powerOff -");
        return text;
    }

  private:
    std::string const mFolder = testing::TempDir() + "zeqcam-read-" + std::to_string(getpid());
};

TEST_F(ReadCommand, TellsAFaultAndWhatItDoesNotKnow) {
    Output const output = run("read " + write("camera.log", logOf(812)));
    EXPECT_EQ(output.status, 0) << output.text;
    EXPECT_THAT(output.text, HasSubstr("process 812 of "));
    EXPECT_THAT(output.text, HasSubstr("true, 3 failed"));
    EXPECT_THAT(output.text,
                HasSubstr("sensors of a power-off: unknown; needs a trace of the category \"camera\""));
    EXPECT_THAT(output.text, HasSubstr("sections-nest, work-inside"));
    EXPECT_THAT(output.text, Not(HasSubstr("expectations held")));
    EXPECT_THAT(output.text, AllOf(HasSubstr("\n\nWhat the evidence tells"), Not(HasSubstr("\n\n\n"))));
}

TEST_F(ReadCommand, PrintsJsonWithNullForWhatIsUnknownAndPlaces) {
    Output const output = run("read --json " + write("camera.log", logOf(812)));
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(output.text.front(), '{') << output.text;
    EXPECT_THAT(output.text, HasSubstr("\"sensors\": null"));
    EXPECT_THAT(output.text, HasSubstr("\"number\": 10"));
    EXPECT_THAT(output.text, HasSubstr("\"powered\": null"));
}

TEST_F(ReadCommand, WritesAScenarioThatFailsTheSame) {
    std::string const again = path("again.toml");
    EXPECT_EQ(run("read --scenario " + again + ' ' + write("camera.log", logOf(812))).status, 0);
    Output const checked = run("check " + again);
    EXPECT_EQ(checked.status, 0) << checked.text << contentOf(again);
    EXPECT_THAT(contentOf(again), HasSubstr("power_on_fails = { times = [1] }"));
    EXPECT_THAT(contentOf(again), HasSubstr("# its sensors are unknown"));
}

TEST_F(ReadCommand, FailsForABrokenRuleUnlessItIsAllowed) {
    auto const event = [](char const* time, int thread, std::string const& text) {
        return "  c-" + std::to_string(thread) + "  (  800) [000] ..... " + time +
               ": tracing_mark_write: " + text + '\n';
    };
    std::string const file =
        write("trace", "# tracer: nop\n" + event("5.001000", 812, "B|800|LogicalDev powerOn") +
                           event("5.002000", 820, "B|800|powerOnSensor: 0") +
                           event("5.009000", 812, "E|800") + event("5.039000", 820, "E|800"));
    Output const output = run("read " + file);
    EXPECT_EQ(output.status, 1);
    EXPECT_THAT(output.text, HasSubstr("broken rule work-inside"));
    EXPECT_THAT(output.text, HasSubstr(file + ":5)"));
    EXPECT_EQ(run("read --allow work-inside " + file).status, 0);
}

TEST_F(ReadCommand, TellsEachProcessAndGivesProgramsOne) {
    std::string const file = write("two.log", logOf(812) + logOf(999));
    Output const both = run("read " + file);
    EXPECT_THAT(both.text, HasSubstr("process 812 of "));
    EXPECT_THAT(both.text, HasSubstr("process 999 of "));
    Output const refused = run("read --json " + file);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.text, HasSubstr("choose with --pid"));
    EXPECT_EQ(run("read --json --pid 999 " + file).status, 0);
    EXPECT_EQ(run("read --pid 5 " + file).status, 2);
}

TEST_F(ReadCommand, FollowsTheStandardInput) {
    Output const output = run("read --follow -", "cat " + write("camera.log", logOf(812)) + " | ");
    EXPECT_EQ(output.status, 0);
    EXPECT_THAT(output.text, testing::StartsWith("thread 903: power on 0 3: true, 53.0 ms\n"));
    EXPECT_THAT(output.text, AllOf(HasSubstr("process 812 of standard input"), HasSubstr("\nwall clock")));
}

// The tool, following what is written to it while it goes on.
class Following {
  public:
    Following() {
        std::array<int, 2> input{};
        std::array<int, 2> output{};
        EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
        mProcess = fork();
        if (mProcess == 0) {
            dup2(input[0], STDIN_FILENO);
            dup2(output[1], STDOUT_FILENO);
            execl(ZEQCAM_POWER_PATH, "zeqcam-power", "read", "--follow", "-", nullptr);
            _exit(127);
        }
        close(input[0]);
        close(output[1]);
        mInput = input[1];
        mOutput = fdopen(output[0], "r");
    }
    ~Following() {
        close(mInput);
        std::fclose(mOutput);
    }
    Following(Following const&) = delete;
    Following& operator=(Following const&) = delete;

    void write(std::string const& text) const {
        EXPECT_EQ(::write(mInput, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Waits for it.
    [[nodiscard]] std::string line() const {
        std::array<char, 4096> text{};
        return std::fgets(text.data(), text.size(), mOutput) == nullptr ? "" : text.data();
    }
    // What it tells after a signal, while its input stays open.
    Output endBy(int signal) const {
        kill(mProcess, signal);
        Output output;
        for (std::string next = line(); !next.empty(); next = line()) output.text += next;
        int status = 0;
        waitpid(mProcess, &status, 0);
        if (WIFEXITED(status)) output.status = WEXITSTATUS(status);
        return output;
    }

  private:
    pid_t mProcess = -1;
    int mInput = -1;
    std::FILE* mOutput = nullptr;
};

TEST_F(ReadCommand, TellsAllThatItHasFollowedWhenItIsEnded) {
    for (int const signal : {SIGINT, SIGTERM}) {
        Following const tool;
        tool.write(logOf(812));
        EXPECT_EQ(tool.line(), "thread 903: power on 0 3: true, 53.0 ms\n");
        Output const output = tool.endBy(signal);
        EXPECT_EQ(output.status, 0) << output.text;
        EXPECT_THAT(output.text,
                    AllOf(HasSubstr("process 812 of standard input"), HasSubstr("sensor 3 did not")));
    }
}

TEST_F(ReadCommand, SaysWhatWasFoundInsteadAndLosesNothing) {
    std::string const log = write("camera.log", logOf(812));
    struct Case {
        std::string arguments;
        std::string message;
    };
    for (auto const& [arguments, message] :
         {Case{write("empty", ""), "empty"},
          Case{write("other.log", "11-23 10:00:00.000  1  1 I Tag: text\n"),
               "no line or section of the library"},
          Case{path("none"), "cannot be opened"}, Case{"/proc", "/proc: cannot be read: Is a directory"},
          Case{"--follow " + log + ' ' + log, "--follow"}, Case{"- -", "standard input"},
          Case{"--scenario " + log + ' ' + log, "would replace"},
          Case{"--svg " + log + ' ' + log, "would replace"}, Case{"--client x " + log, "has no client x"}}) {
        Output const output = run("read " + arguments, "true | ");
        EXPECT_EQ(output.status, 2) << arguments << output.text;
        EXPECT_THAT(output.text, HasSubstr(message));
    }
    EXPECT_EQ(contentOf(log), logOf(812));
}

}  // namespace
