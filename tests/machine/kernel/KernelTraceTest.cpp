#include "ToolRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// What the machine's kernel records of a run, read back, agrees with what the run says of itself.
namespace zeqcam::tests {
namespace {

using testing::HasSubstr;

// An instance of the kernel's tracer that records the scheduler, with the tool's sections; gone with the
// scope.
class KernelTrace {
  public:
    KernelTrace() {
        write("buffer_size_kb", "16384");
        for (std::string const event : {"sched/sched_switch", "sched/sched_waking", "task/task_newtask"})
            write("events/" + event + "/enable", "1");
        write("trace", "");
        write("tracing_on", "1");
    }
    ~KernelTrace() {
        write("events/enable", "0");
        write("trace", "");
    }
    KernelTrace(KernelTrace const&) = delete;
    KernelTrace& operator=(KernelTrace const&) = delete;

    [[nodiscard]] static std::string text() {
        return runCommand("cat " + std::string(kFolder) + "trace").output;
    }

  private:
    static constexpr char const* kFolder = "/sys/kernel/tracing/";
    static void write(std::string const& file, std::string const& value) {
        std::ofstream(kFolder + file) << value;
    }
};

struct Request {
    std::string what;
    double began;
    double ended;
};

// Those that have work to do, which is all that a trace shows; by client, since the two name them
// differently.
std::vector<std::vector<Request>> requestsByClient(nlohmann::json const& results) {
    std::map<std::string, std::vector<Request>> requests;
    std::set<int> on;
    for (auto const& each : results.at("requests")) {
        std::string const kind = each.at("request");
        if (kind != "power on" && kind != "power off") continue;
        auto sensors = each.at("sensors").get<std::set<int>>();
        if (kind == "power on") {
            for (int const sensor : on) sensors.erase(sensor);
            on.insert(sensors.begin(), sensors.end());
        } else {
            for (int const sensor : sensors) on.erase(sensor);
        }
        auto const failed = each.at("failed_sensors").get<std::set<int>>();
        double const began = each.at("began_ms");
        requests[each.at("client")].push_back({kind + ' ' + testing::PrintToString(sensors) + " failed " +
                                                   testing::PrintToString(failed) + ' ' +
                                                   each.at("result").dump(),
                                               began, began + each.at("wall_ms").get<double>()});
    }
    std::vector<std::vector<Request>> all;
    for (auto& [client, of] : requests) all.push_back(std::move(of));
    std::sort(all.begin(), all.end(),
              [](auto const& one, auto const& other) { return one.front().what < other.front().what; });
    return all;
}

std::vector<std::vector<std::string>> told(std::vector<std::vector<Request>> const& clients) {
    std::vector<std::vector<std::string>> words(clients.size());
    for (std::size_t i = 0; i < clients.size(); ++i) {
        for (Request const& each : clients[i]) words[i].push_back(each.what);
    }
    return words;
}

// Which requests were over before another began, by client and place.
std::set<std::string> followers(std::vector<std::vector<Request>> const& clients) {
    std::vector<std::pair<std::string, Request>> all;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        for (std::size_t k = 0; k < clients[i].size(); ++k)
            all.emplace_back(std::to_string(i) + '.' + std::to_string(k), clients[i][k]);
    }
    std::set<std::string> found;
    for (auto const& [name, one] : all) {
        for (auto const& [laterName, later] : all) {
            if (one.ended < later.began) found.insert(name + " before " + laterName);
        }
    }
    return found;
}

TEST(KernelTrace, AgreesWithTheRunThatItShows) {
    TemporaryFile const trace(".trace");
    Ran run{};
    {
        KernelTrace const recording;
        run = runTool("run -q --ftrace --json \"" ZEQCAM_EXAMPLES_DIR "/phone.toml\"", "/dev/null");
        std::ofstream(trace.path) << KernelTrace::text();
    }
    ASSERT_EQ(run.status, 0) << run.output;
    Ran const read = runTool("read --json " + trace.path, "/dev/null");
    ASSERT_EQ(read.status, 0) << read.output;

    auto const own = requestsByClient(nlohmann::json::parse(run.output));
    auto const seen = requestsByClient(nlohmann::json::parse(read.output));
    ASSERT_EQ(told(own).size(), 2U);
    EXPECT_EQ(told(seen), told(own));
    // Sections are narrower than the calls around them: more may be seen to follow one another.
    EXPECT_THAT(followers(own), testing::IsSubsetOf(followers(seen)));

    EXPECT_THAT(runTool("read " + trace.path).output, HasSubstr("time on a processor: known"));
    // -20, as the scheduler counts it.
    EXPECT_THAT(trace.text(), HasSubstr("next_comm=zeqcam-power next_pid=")) << "no thread of the run ran";
    EXPECT_THAT(trace.text(), testing::ContainsRegex("prev_comm=zeqcam-power prev_pid=[0-9]+ prev_prio=100"));
}

}  // namespace
}  // namespace zeqcam::tests
