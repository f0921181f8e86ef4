#include "run/JournalDrain.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace zeqcam;
using namespace zeqcam::tool;
using board::Kind;

TEST(JournalDrain, TakesEveryEntryOnceInTheOrderOfItsThreadAndBindsRequests) {
    constexpr int kThreads = 4;
    constexpr int kEach = 5000;
    board::Journal journal;
    Record record;
    // One request of the first client stands in the record before the journal tells of it.
    record.clients.push_back({.name = record.texts.add("0")});
    record.requests.push_back({.kind = RequestKind::PowerOn, .client = 0, .line = 7});
    JournalReader reader(record);
    JournalDrain drain(journal, reader);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&journal, client = std::to_string(thread)] {
            journal.add({.kind = Kind::Request, .text = client, .detail = "power on", .sensors = {3}});
            for (int i = 0; i < kEach; ++i) journal.add({.kind = Kind::TaskRun, .number = i, .text = client});
            journal.add({.kind = Kind::Reply, .number = 1, .text = client, .detail = "power on"});
        });
    }
    for (std::thread& thread : threads) thread.join();
    drain.stop();
    EXPECT_TRUE(journal.entries().empty());
    journal.add({.kind = Kind::TaskRun, .text = "late"});
    drain.stop();
    EXPECT_EQ(journal.entries().size(), 1U);

    reader.finish();
    std::map<std::uint32_t, std::int64_t> next;  // of each request
    for (Event const& event : record.events) {
        ASSERT_TRUE(event.request);
        Request const& request = record.requests[*event.request];
        ASSERT_EQ(record.textOf(record.clients[request.client].name), record.textOf(event.text));
        if (event.kind != Kind::TaskRun) continue;
        ASSERT_EQ(event.number, next[*event.request]++);
    }
    EXPECT_EQ(record.events.size(), std::size_t{kThreads} * (kEach + 2));
    EXPECT_EQ(record.requests.size(), std::size_t{kThreads});
    EXPECT_EQ(record.requests.front().line, 7);
    EXPECT_TRUE(record.requests.back().ended);
}

}  // namespace
