#include "NestedSlices.h"
#include "ToolRuns.h"

#include <zeqcam/board/Board.h>
#include <zeqcam/views/ShowBoard.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace {

using namespace zeqcam::tests;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using zeqcam::board::Board;
using zeqcam::board::Kind;

TEST(ShowBoard, WritesWhatTheBoardRecordedAndLeavesItThere) {
    Board board({.sensors = {{3, {.name = "tele"}}}});
    zeqcam::board::ClientRequest request(board, "app", "power on", {3});
    board.journal().add({.kind = Kind::SensorPowerOn, .sensor = 3});
    board.journal().add({.kind = Kind::SensorPowerOnDone, .sensor = 3, .number = 0});
    Folder const folder;
    auto const files = zeqcam::views::showBoard(board, folder.path("Photo.Opens"));
    EXPECT_EQ(files.text, folder.path("Photo.Opens.txt"));
    EXPECT_THAT(folder.names(), ElementsAre("Photo.Opens.json", "Photo.Opens.svg", "Photo.Opens.txt"));
    EXPECT_THAT(folder.text("Photo.Opens.txt"),
                AllOf(HasSubstr("\napp"), HasSubstr("tele did not come up"), HasSubstr("power on  tele")));
    EXPECT_EQ(readByXml(files.picture, "string(/*/*[local-name()=\"title\"])"), "Photo.Opens");
    auto const trace = nlohmann::json::parse(folder.text("Photo.Opens.json"));
    expectNestedSlices(trace);
    EXPECT_EQ(board.journal().entries().size(), 3U);

    board.journal().clear();
    zeqcam::views::showBoard(board, folder.path("Photo.Opens"));
    EXPECT_THAT(folder.text("Photo.Opens.txt"), testing::Not(HasSubstr("app")));
    EXPECT_THROW(zeqcam::views::showBoard(board, folder.path("nowhere/a")), std::runtime_error);
}

TEST(ShowBoard, TellsTheMainThreadFromASensorOfThatName) {
    Board board({.sensors = {{0, {.name = "main"}}}});
    board.journal().add({.kind = Kind::TraceBegin, .text = "3A notifyPowerOn"});
    board.journal().add({.kind = Kind::SensorPowerOn, .sensor = 0});
    board.journal().add({.kind = Kind::SensorPowerOnDone, .sensor = 0, .number = 1});
    board.journal().add({.kind = Kind::TraceEnd, .text = "3A notifyPowerOn"});
    Folder const folder;
    zeqcam::views::showBoard(board, folder.path("both"));
    EXPECT_THAT(folder.text("both.txt"), AllOf(HasSubstr("\nmain thread "), HasSubstr("\nmain  ")));
}

}  // namespace
