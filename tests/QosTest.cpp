#include "PowerTest.h"

#include <zeqcam/board/QosFile.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

namespace zeqcam::tests {
namespace {

using board::QosFile;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::UnorderedElementsAreArray;

std::string hintOf(int thread) {
    return std::to_string(thread) + " 129 1 0";
}

// Those that can be written to: the board reads the file through one of its own.
int openDescriptors() {
    int open = 0;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        bool const isQosFile =
            std::filesystem::read_symlink(entry, gone).string().find("set_task_qos") != std::string::npos;
        if (isQosFile && (fcntl(std::stoi(entry.path().filename()), F_GETFL) & O_ACCMODE) == O_WRONLY) ++open;
    }
    return open;
}

class QosTest : public PowerTest {
  protected:
    void SetUp() override {
        PowerTest::SetUp();
        if (!QosFile::provided()) GTEST_SKIP() << "this process may not have a QoS file of its own";
        QosFile::set(QosFile::Is::Full);  // the library forgets a descriptor of an earlier test
        cycle({0});
        QosFile::set(QosFile::Is::Writable);
        static_cast<void>(QosFile::takeLines());
        mEarlierWrites = static_cast<int>(journal().entries(Kind::QosWrite).size());
        journal().clear();
    }
    void TearDown() override {
        if (QosFile::provided()) QosFile::set(QosFile::Is::Writable);
        PowerTest::TearDown();
    }
    // `times` count from the next write on.
    void setWrites(board::QosWrites writes, std::vector<int> const& times) {
        int const earlier = mEarlierWrites + static_cast<int>(journal().entries(Kind::QosWrite).size());
        for (int const time : times) writes.times.push_back(earlier + time);
        board().change([&](board::Settings& settings) { settings.qosWrites = writes; });
    }
    std::vector<Entry> cycle(std::vector<int> const& sensors) {
        auto const controller = create(sensors);
        auto told = entriesOf([&] { controller->powerOn(sensors); });
        controller->powerOff(sensors);
        return told;
    }
    static std::vector<std::string> androidLines(std::vector<Entry> const& told) {
        std::vector<std::string> lines;
        for (Entry const& entry : ofKinds(told, {Kind::AndroidLog})) {
            EXPECT_EQ(entry.number, 3);
            EXPECT_EQ(entry.text, "zeqcam-PowerOnOffController");
            lines.push_back(entry.shown);
        }
        return lines;
    }

  private:
    int mEarlierWrites = 0;
};

TEST_F(QosTest, WritesOneLineForTheCallerAndForEachWorker) {
    auto const told = cycle({0, 1});
    std::vector<std::string> hints = {hintOf(gettid())};
    for (int const thread : threadsOf(told, Kind::SensorPowerOn)) hints.push_back(hintOf(thread));
    EXPECT_THAT(QosFile::takeLines(), UnorderedElementsAreArray(hints));
    EXPECT_THAT(androidLines(told), IsEmpty());
}

TEST_F(QosTest, EndsEachLineWithAZeroByte) {
    QosFile::set(QosFile::Is::Writable);
    auto const told = cycle({0});
    std::string const zero(1, '\0');
    EXPECT_THAT(QosFile::bytes(),
                testing::EndsWith(hintOf(gettid()) + zero +
                                  hintOf(threadsOf(told, Kind::SensorPowerOn).at(0)) + zero));
}

TEST_F(QosTest, OpensTheFileOnceForWritingOnlyAndKeepsItOpen) {
    EXPECT_EQ(openDescriptors(), 0);
    auto const opens = ofKinds(cycle({0, 1, 2}), {Kind::QosOpen});
    ASSERT_EQ(opens.size(), 1U);
    EXPECT_EQ(opens[0].detail, "0x1");
    EXPECT_EQ(openDescriptors(), 1);
    cycle({0, 1, 2});
    EXPECT_EQ(openDescriptors(), 1);
}

TEST_F(QosTest, TriesAMissingFileAnewAtEveryHint) {
    QosFile::set(QosFile::Is::Missing);
    EXPECT_THAT(androidLines(cycle({0, 1})),
                ElementsAre("mm interface loadzeq_cameraux_scen failed.:No such file or directory\n",
                            "mm interface loadzeq_cameraux_scen failed.:No such file or directory\n",
                            "mm interface loadzeq_cameraux_scen failed.:No such file or directory\n"));
    EXPECT_EQ(openDescriptors(), 0);
    QosFile::set(QosFile::Is::Writable);
    EXPECT_THAT(androidLines(cycle({0})), IsEmpty());
    EXPECT_EQ(QosFile::takeLines().size(), 2U);
}

TEST_F(QosTest, PowersOnWithoutAHintWhileNoDescriptorIsLeft) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    rlimit const none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    auto const told = cycle({0});
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_THAT(androidLines(told), Each("mm interface loadzeq_cameraux_scen failed.:Too many open files\n"));
    EXPECT_EQ(ofKinds(told, {Kind::SensorAfterPowerOn}).size(), 1U);
    EXPECT_THAT(androidLines(cycle({0})), IsEmpty());
}

TEST_F(QosTest, AReadOnlyFileIsOneThatCannotBeOpened) {
    QosFile::set(QosFile::Is::ReadOnly);
    EXPECT_THAT(androidLines(cycle({0})),
                Each(MatchesRegex("mm interface loadzeq_cameraux_scen failed.:.+\n")));
    EXPECT_EQ(openDescriptors(), 0);
}

TEST_F(QosTest, OpensTheFileAgainAfterAFailedWrite) {
    QosFile::set(QosFile::Is::Full);
    EXPECT_THAT(androidLines(cycle({0})), ElementsAre("write camera_ux failed.:No space left on device\n",
                                                      "write camera_ux failed.:No space left on device\n"));
    EXPECT_EQ(openDescriptors(), 0);
    QosFile::set(QosFile::Is::Writable);
    cycle({0});
    EXPECT_EQ(QosFile::takeLines().size(), 2U);
    EXPECT_EQ(openDescriptors(), 1);
}

TEST_F(QosTest, WritesEachHintOnceWhateverBecomesOfIt) {
    struct Case {
        board::QosWrites writes;
        bool fails;
    };
    cycle({0});
    for (Case const& c : std::vector<Case>{
             {{.atMost = 3}, false},
             {{.atMost = 0}, false},
             {{.error = EINTR}, true},
             {{.error = EAGAIN}, true},
             {{.error = EIO}, true},
         }) {
        SCOPED_TRACE(c.writes.error);
        setWrites(c.writes, {1});
        auto const told = cycle({0});
        EXPECT_EQ(ofKinds(told, {Kind::QosWrite}).size(), 2U);
        EXPECT_EQ(ofKinds(told, {Kind::QosOpen}).size(), c.fails ? 1U : 0U);
        EXPECT_EQ(ofKinds(told, {Kind::QosClose}).size(), c.fails ? 1U : 0U);
        EXPECT_EQ(ofKinds(told, {Kind::PropertyGet}).size(), c.fails ? 1U : 2U);
        std::string const line =
            std::string("write camera_ux failed.:") + std::strerror(c.writes.error) + "\n";
        EXPECT_EQ(androidLines(told), std::vector<std::string>(c.fails ? 1 : 0, line));
    }
}

TEST_F(QosTest, WritesTheHintsOfAllWorkersAtOnce) {
    auto const controller = create({0, 1, 2});
    setWrites({.hang = true}, {2, 3, 4});
    Background powerOn([&] { controller->powerOn({0, 1, 2}); });
    journal().waitFor(Kind::QosWrite, 4);
    EXPECT_THAT(journal().entries(Kind::SensorPowerOn), IsEmpty());
    board().change([](board::Settings& settings) { settings.qosWrites = {}; });
    powerOn.join();
    controller->powerOff({0, 1, 2});
}

TEST_F(QosTest, OpensTheFileOnceMoreWhileAFailedDescriptorIsStillWrittenThrough) {
    auto const first = create({0});
    setWrites({.hang = true}, {2});
    Background powerOn([&] { first->powerOn({0}); });
    journal().waitFor(Kind::QosWrite, 2);  // the worker's hangs
    QosFile::set(QosFile::Is::Full);
    EXPECT_THAT(androidLines(cycle({1})), Contains("write camera_ux failed.:No space left on device\n"));
    QosFile::set(QosFile::Is::Writable);
    auto const told = entriesOf([&] {
        for (int i = 0; i < 10; ++i) cycle({1, 2});
    });
    EXPECT_EQ(ofKinds(told, {Kind::QosOpen}).size(), 1U);
    EXPECT_THAT(ofKinds(told, {Kind::QosClose}), IsEmpty()) << "nothing has failed on the new one";
    EXPECT_EQ(openDescriptors(), 2);
    auto const afterwards = entriesOf([&] {
        board().change([](board::Settings& settings) { settings.qosWrites = {}; });
        powerOn.join();
    });
    auto const closes = ofKinds(afterwards, {Kind::QosClose});
    ASSERT_EQ(closes.size(), 1U) << "by the last that wrote through it";
    EXPECT_EQ(closes[0].number, ofKinds(entries(), {Kind::QosWrite}).at(1).number);
    EXPECT_EQ(openDescriptors(), 1);
    first->powerOff({0});
}

TEST_F(QosTest, TellsASuccessOnlyWhenThePropertyAsksForIt) {
    auto const asked = ofKinds(cycle({0}), {Kind::PropertyGet});
    EXPECT_THAT(asked, AllOf(testing::SizeIs(2), Each(testing::Field(&Entry::detail, "0")))) << "the default";
    for (int const value : {-1, 0, 1, 2}) {
        board().change(
            [&](board::Settings& settings) { settings.properties["vendor.debug.camera.log"] = value; });
        auto const told = cycle({0});
        if (value < 1) {
            EXPECT_THAT(androidLines(told), IsEmpty()) << value;
        } else {
            EXPECT_THAT(androidLines(told), Contains("write camera_ux tid:" + std::to_string(gettid()) +
                                                     " isSetQos 1, issuccess\n"));
        }
    }
}

TEST_F(QosTest, SharesTheDescriptorAmongThreadsThroughFailures) {
    auto const powerCycles = [](int sensor) {
        auto const controller = create({sensor});
        for (int i = 0; i < 100; ++i) {
            controller->powerOn({sensor});
            controller->powerOff({sensor});
        }
    };
    auto const ofAllSensorsAtOnce = [&] {
        Background zero([&] { powerCycles(0); });
        Background one([&] { powerCycles(1); });
        Background two([&] { powerCycles(2); });
    };
    QosFile::set(QosFile::Is::Full);
    EXPECT_THAT(androidLines(entriesOf(ofAllSensorsAtOnce)),
                Each("write camera_ux failed.:No space left on device\n"))
        << "no write reaches a closed descriptor";
    EXPECT_EQ(openDescriptors(), 0);
    QosFile::set(QosFile::Is::Writable);
    EXPECT_THAT(androidLines(entriesOf(ofAllSensorsAtOnce)), IsEmpty());
    EXPECT_EQ(QosFile::takeLines().size(), 600U);
    EXPECT_EQ(openDescriptors(), 1);
}

}  // namespace
}  // namespace zeqcam::tests
