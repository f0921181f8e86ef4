#include "views/RequestText.h"

namespace zeqcam::tool {

std::string resultText(Request const& request) {
    if (!request.ended) return "pending";
    switch (request.kind) {
        case RequestKind::PowerOn:
            return !request.result ? "unknown" : *request.result ? "true" : "false";
        case RequestKind::Status:
        case RequestKind::Powered:
            return !request.countedOn ? "unknown" : request.countedOn->empty() ? "all off" : "on";
        case RequestKind::Destroy:
            return "let go";
        case RequestKind::PowerOff:
        case RequestKind::Wait:
        case RequestKind::Sleep:
        case RequestKind::Other:
            return "done";
    }
    return "done";
}

std::vector<int> const& sensorsOf(Request const& request) {
    static std::vector<int> const none;
    bool const asks = request.kind == RequestKind::Status || request.kind == RequestKind::Powered;
    auto const& sensors = asks ? request.countedOn : request.sensors;
    return sensors ? *sensors : none;
}

}  // namespace zeqcam::tool
