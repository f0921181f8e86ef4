// zeqcam-power explore, as a user calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

struct Called {
    int status;
    std::string output;
};

Called call(std::string const& commandLine) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen((commandLine + " 2>&1").c_str(), "r"), pclose);
    Called called{};
    std::array<char, 4096> part{};
    for (std::size_t got = 0; (got = fread(part.data(), 1, part.size(), pipe.get())) > 0;) {
        called.output.append(part.data(), got);
    }
    called.status = WEXITSTATUS(pclose(pipe.release()));
    return called;
}

// A file with two clients of one sensor, gone with its scope.
class TwoClients {
  public:
    explicit TwoClients(std::string const& steps) {
        std::ofstream(path)
            << "[board]\nlog = 'error'\nqueue = 'missing'\n[[sensor]]\nid = 0\nname = 'main'\n"
               "[[controller]]\nname = 'photo'\nsensors = ['main']\n"
               "[[client]]\ncontroller = 'photo'\nname = 'first'\n"
               "steps = [{ power_on = ['main'] }, { power_off = ['main'] }]\n"
               "[[client]]\ncontroller = 'photo'\nname = 'second'\nsteps = ["
            << steps << "]\n";
    }
    ~TwoClients() { std::remove(path.c_str()); }
    TwoClients(TwoClients const&) = delete;
    TwoClients& operator=(TwoClients const&) = delete;

    std::string const path = testing::TempDir() + "explored-" + std::to_string(getpid()) + ".toml";
};

TEST(Explore, SaysHowFarItCame) {
    struct Case {
        std::string options;
        int status;
        std::string sentence;
    };
    TwoClients const file("{ power_on = ['main'] }, { power_off = ['main'] }");
    for (auto const& [options, status, sentence] : {
             Case{"--preemptions 0", 0, "^All [0-9]+ schedules without a preemption hold\n$"},
             Case{"--schedules 1", 3,
                  "^1 schedule holds; the search was cut short: not even all without a preemption were run, "
                  "not "
                  "all with at most 2 preemptions\n$"},
             Case{"--schedules 20", 3, "^20 schedules hold; .*: all without a preemption were run, not all"},
         }) {
        Called const explored = call(ZEQCAM_POWER_PATH " explore " + options + ' ' + file.path);
        EXPECT_EQ(explored.status, status) << options;
        EXPECT_THAT(explored.output, ContainsRegex(sentence)) << options;
    }
}

TEST(Explore, GivesTheCommandThatRepeatsAFailure) {
    TwoClients const file("{ power_on = ['main'] }, { status = { main = true } }");
    Called const explored = call(ZEQCAM_POWER_PATH " explore --preemptions 1 " + file.path);
    EXPECT_EQ(explored.status, 1) << explored.output;
    std::string const begin = "\nIt is repeated by\n  zeqcam-power ";
    ASSERT_THAT(explored.output, HasSubstr(begin));
    std::string const command = explored.output.substr(explored.output.find(begin) + begin.size());
    Called const repeated = call(ZEQCAM_POWER_PATH " " + command.substr(0, command.find('\n')));
    EXPECT_EQ(repeated.status, 1) << repeated.output;
    EXPECT_THAT(repeated.output, HasSubstr("main is off, expected on"));
}

}  // namespace
