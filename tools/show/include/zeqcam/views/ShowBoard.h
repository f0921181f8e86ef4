#pragma once

#include <zeqcam/board/Board.h>
#include <zeqcam/views/Visibility.h>

#include <string>

/// \file
/// What a board has recorded, as `zeqcam-power` shows a run: for a unit test that failed.

/// Views of what happened on a board.
namespace zeqcam::views {

/// Paths of files.
struct Files {
    std::string text;     ///< a timeline of 100 columns in UTF-8, and what became of requests and sensors
    std::string picture;  ///< the timeline in SVG, which needs nothing else
    std::string trace;    ///< the timeline in the Trace Event Format, in JSON, which trace viewers open
};

/// Writes what a board has recorded so far to three files: `prefix` with `.txt`, `.svg` and `.json` behind
/// it. A row is a thread, a client's where the test notes its requests by board::ClientRequest; sensors have
/// the names of the board's settings. What was taken out of the journal, or happened while it was off, is
/// missing. \param board is left as it is. Calls across the boundary may be under way: they are shown as not
/// ended. \param prefix is a path; its last part is the title of the picture. Its folder exists. \return the
/// three paths.
///
/// Each file takes its place as a whole, and replaces what stood there. Throws std::runtime_error, which
/// names the file and the reason, when one cannot be written; those before it are there then. May be called
/// from any thread, again and at once for different prefixes. It takes memory in proportion to the journal.
ZEQCAM_VIEWS_API Files showBoard(board::Board& board, std::string const& prefix);

}  // namespace zeqcam::views
