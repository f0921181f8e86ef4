#include "StrictBoard.h"

#include <zeqcam/board/QosFile.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace zeqcam::tests {
namespace {

using board::Entry;
using board::Kind;
using board::QosFile;
using board::QosWrites;
using board::Settings;

int openQosFile() {
    return open("/sys/rsc/qos/set_task_qos", O_WRONLY | O_CLOEXEC);
}

TEST(QosFile, IsAsSet) {
    if (!QosFile::provided()) GTEST_SKIP() << "this process may not have a QoS file";
    struct Case {
        QosFile::Is is;
        int openError;
        int writeError;  // of a descriptor that was opened while the file was writable
    };
    Case const cases[] = {
        {QosFile::Is::Writable, 0, 0},  {QosFile::Is::Missing, ENOENT, 0}, {QosFile::Is::ReadOnly, EROFS, 0},
        {QosFile::Is::Full, 0, ENOSPC}, {QosFile::Is::Writable, 0, 0},
    };
    QosFile::set(QosFile::Is::Writable);
    QosFile::takeLines();
    int const earlier = openQosFile();
    for (auto const& [is, openError, writeError] : cases) {
        SCOPED_TRACE(static_cast<int>(is));
        QosFile::set(is);
        int const now = openQosFile();
        EXPECT_EQ(now < 0 ? errno : 0, openError);
        for (int const writer : {earlier, now}) {
            if (writer < 0) continue;
            EXPECT_EQ(write(writer, "1 129 1 0", 10) < 0 ? errno : 0, writeError);
            EXPECT_EQ(QosFile::takeLines(), std::vector<std::string>(writeError == 0 ? 1 : 0, "1 129 1 0"));
        }
        close(now);
    }
    QosFile::set(QosFile::Is::Writable);
    EXPECT_EQ(write(earlier, "1 129 1 0\0002 129", 15), 15);
    EXPECT_EQ(QosFile::takeLines().size(), 1u) << "the second line has not ended";
    EXPECT_EQ(QosFile::bytes(), std::string("1 129 1 0\0002 129", 15));
    close(earlier);
}

TEST(QosFile, IsWrittenToAsTheBoardIsSet) {
    if (!QosFile::provided()) GTEST_SKIP() << "this process may not have a QoS file";
    QosFile::set(QosFile::Is::Writable);
    QosFile::takeLines();
    int const file = openQosFile();
    struct Case {
        QosWrites writes;
        std::vector<ssize_t> results;  // of three writes of ten bytes; negative: the error number
    };
    for (Case const& c : std::vector<Case>{
             {{}, {10, 10, 10}},
             {{.times = {2, 3}, .error = EINTR}, {10, -EINTR, -EINTR}},
             {{.error = EPERM}, {-EPERM, -EPERM, -EPERM}},
             {{.times = {1}, .atMost = 4}, {4, 10, 10}},
         }) {
        StrictBoard board(Settings{.qosWrites = c.writes});
        std::vector<ssize_t> told;
        for (ssize_t const result : c.results) {
            errno = 0;
            EXPECT_EQ(write(file, "1 129 1 0", 10), std::max(result, ssize_t{-1}));
            EXPECT_EQ(errno, result < 0 ? static_cast<int>(-result) : 0);
            EXPECT_EQ(QosFile::bytes().size(), static_cast<std::size_t>(std::max(result, ssize_t{0})));
            QosFile::set(QosFile::Is::Writable);
            lseek(file, 0, SEEK_SET);
        }
        for (Entry const& entry : board.journal().entries(Kind::QosWriteDone)) told.push_back(entry.number);
        EXPECT_EQ(told, c.results);
        for (Entry const& entry : board.journal().entries(Kind::QosWrite)) {
            EXPECT_EQ(entry.number, file);
            EXPECT_EQ(entry.text, std::string("1 129 1 0", 10));
        }
    }
    close(file);
}

TEST(QosFile, LetsAWriteHangUntilTheSettingChangesOrTheBoardGoes) {
    if (!QosFile::provided()) GTEST_SKIP() << "this process may not have a QoS file";
    QosFile::set(QosFile::Is::Writable);
    int const file = openQosFile();
    for (bool const boardGoes : {false, true}) {
        auto board = std::make_unique<StrictBoard>(Settings{.qosWrites = {.hang = true}});
        auto written = std::async(std::launch::async, [=] { return write(file, "1 129 1 0", 10); });
        board->journal().waitFor(Kind::QosWrite);
        EXPECT_TRUE(board->journal().entries(Kind::QosWriteDone).empty());
        if (boardGoes) {
            board.reset();
        } else {
            board->change([](Settings& settings) { settings.qosWrites.hang = false; });
        }
        EXPECT_EQ(written.get(), 10);
    }
    close(file);
}

TEST(QosFile, NotesHowItIsOpenedAndClosedAndNothingOfOtherFiles) {
    StrictBoard board({});
    int const other = open("/dev/null", O_WRONLY);
    EXPECT_EQ(write(other, "1", 1), 1);
    close(other);
    EXPECT_TRUE(board.journal().entries().empty());
    int const file = openQosFile();
    if (file >= 0) close(file);
    auto const told = board.journal().entries();
    EXPECT_EQ(told.at(0).number, file >= 0 ? file : -ENOENT);
    EXPECT_EQ(told.at(0).detail, "0x80001");
    EXPECT_EQ(told.size(), file >= 0 ? 2U : 1U);
}

}  // namespace
}  // namespace zeqcam::tests
