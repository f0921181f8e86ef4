// The library over the board, with the platform's own logging library in the Android log's place.

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/board/QosFile.h>

#include <android/log.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;
using zeqcam::board::Kind;
using zeqcam::board::QosFile;

struct Line {
    int priority = 0;
    std::string tag;
    std::string text;
};

// What the platform's library was given. It calls a function without data of its own.
std::mutex gLock;
std::vector<Line> gLines;

void keep(__android_logger_data const* of, char const* text) {
    std::lock_guard const hold(gLock);
    gLines.push_back({of->priority, of->tag, text});
}

class RealLogTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!QosFile::provided()) GTEST_SKIP() << "this process may not have a QoS file of its own";
        Dl_info found{};
        ASSERT_NE(dladdr(reinterpret_cast<void*>(&__android_log_print), &found), 0);
        ASSERT_THAT(found.dli_fname, testing::HasSubstr("liblog"));
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
    void TearDown() override {
        if (QosFile::provided()) QosFile::set(QosFile::Is::Writable);
        __android_log_set_logger(__android_log_stderr_logger);
    }

    // Powers two sensors on and off: three hints, of the caller and of two workers. The board's own log gets
    // no line of the Android log.
    void cycle() {
        auto const controller = NSCam::IPowerOnOffController::create({.sensorIds = {0, 1}});
        EXPECT_TRUE(controller->powerOn({0, 1}));
        controller->powerOff({0, 1});
        EXPECT_THAT(mBoard.journal().entries(Kind::AndroidLog), IsEmpty());
    }

    std::vector<Line> linesOfCycle() {
        __android_log_set_logger(keep);
        gLines.clear();
        cycle();
        return gLines;
    }

  private:
    static zeqcam::board::Settings settings() {
        zeqcam::board::Settings settings;
        settings.sensors[0];
        settings.sensors[1];
        settings.properties["vendor.debug.camera.log"] = 1;
        return settings;
    }

    zeqcam::board::Board mBoard{settings()};
};

TEST_F(RealLogTest, GetsEachLineAsTheLibraryMeansIt) {
    struct {
        QosFile::Is file;
        char const* text;
    } const cases[] = {
        {QosFile::Is::Missing, "mm interface loadzeq_cameraux_scen failed.:No such file or directory\n"},
        {QosFile::Is::Writable, R"(write camera_ux tid:\d+ isSetQos 1, issuccess\n)"},
        {QosFile::Is::Full, "write camera_ux failed.:No space left on device\n"},
    };
    for (auto const& [file, text] : cases) {
        QosFile::set(file);
        EXPECT_THAT(linesOfCycle(),
                    AllOf(SizeIs(3), Each(AllOf(testing::Field(&Line::priority, ANDROID_LOG_DEBUG),
                                                testing::Field(&Line::tag, "zeqcam-PowerOnOffController"),
                                                testing::ResultOf(
                                                    [text = std::regex(text)](Line const& line) {
                                                        return std::regex_match(line.text, text);
                                                    },
                                                    true)))))
            << text;
    }
}

TEST_F(RealLogTest, WritesEachLineUnderTheThreadThatItIsOf) {
    __android_log_set_logger(__android_log_stderr_logger);
    testing::internal::CaptureStderr();
    cycle();
    std::istringstream written(testing::internal::GetCapturedStderr());
    std::regex const form(R"(zeqcam-PowerOnOffController D \d\d-\d\d \d\d:\d\d:\d\d +(\d+) +(\d+) )"
                          R"(write camera_ux tid:(\d+) isSetQos 1, issuccess)");
    std::set<std::string> threads;
    for (std::string line; std::getline(written, line);) {
        if (line.empty()) continue;  // the library ends a line, and so does the log
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
        EXPECT_EQ(parts[1], std::to_string(getpid()));
        EXPECT_EQ(parts[2], parts[3]);
        threads.insert(parts[2]);
    }
    EXPECT_THAT(threads, SizeIs(3));
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string const reason = testing::GTEST_FLAG(list_tests) ? "" : QosFile::provide();
    if (!reason.empty()) std::cerr << "no QoS file for this process: " << reason << '\n';
    return RUN_ALL_TESTS();
}
