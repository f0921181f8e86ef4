#include "evidence/Signs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

constexpr std::string_view kControllerTag = "zeqcam-PowerOnOffController";
constexpr std::string_view kListenerTag = "ZeqCam/Hal3AListener";

constexpr std::string_view kController = "[PowerOnOffController::";
constexpr std::string_view kListener = "[Hal3AListener::";
constexpr std::string_view kWorker = "[initSensor] ";

struct Fixed {
    std::string_view text;
    Saying saying;
};

constexpr std::array kControllerLines{
    Fixed{"get PowerOnLock, Sensor power on", Saying::LockTaken},
    Fixed{" failed to get PowerOnLock", Saying::LockNotTaken},
    Fixed{"powerOn +", Saying::PowerOnBegins},
    Fixed{"powerOn -", Saying::PowerOnEnds},
    Fixed{"3A notifyPowerOn", Saying::AllUp},
    Fixed{"powerOff +", Saying::PowerOffBegins},
    Fixed{"powerOff -", Saying::PowerOffEnds},
    Fixed{"gSensorPowerOnLock unlock", Saying::LockReleased},
    Fixed{"add new data", Saying::RecordFiled},
    Fixed{"replace data", Saying::RecordFiled},
    Fixed{"create data fail", Saying::NoRecord},
    Fixed{"create worker fail", Saying::NoWorker},
    Fixed{"Bad HalSensorList", Saying::NoSensorList},
};

constexpr std::array kSections{
    Fixed{"LogicalDev powerOn", Saying::PowerOnSection},
    Fixed{"LogicalDev powerOff", Saying::PowerOffSection},
    Fixed{"init()::IPeripheralController", Saying::PeripheralInitSection},
    Fixed{"IPeripheralController::notifyPowerOn", Saying::PeripheralOnSection},
    Fixed{"init()::hal3a", Saying::Hal3AInitSection},
    Fixed{"hal3a::notifyPowerOn", Saying::Hal3AOnSection},
    Fixed{"3A notifyPowerOn", Saying::NotifyOnSection},
    Fixed{"3A notifyPowerOff", Saying::Hal3AOffSection},
    Fixed{"CamHw notifyPowerOff", Saying::PeripheralOffSection},
};

// A number at the front of `text`, which it is taken off. Negative ids are widened and written unsigned in
// labels.
std::optional<int> takeId(std::string_view& text) {
    std::int64_t id = 0;
    std::uint64_t wide = 0;
    char const* const end = text.data() + text.size();
    if (auto const [rest, error] = std::from_chars(text.data(), end, id); error == std::errc()) {
        text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
        return static_cast<int>(id);
    }
    if (auto const [rest, error] = std::from_chars(text.data(), end, wide); error == std::errc()) {
        text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
        return static_cast<int>(static_cast<std::int64_t>(wide));
    }
    return {};
}

// The id between two texts, the first at the front.
std::optional<int> idBetween(std::string_view text, std::string_view before, std::string_view after) {
    if (!text.starts_with(before)) return {};
    text.remove_prefix(before.size());
    auto const id = takeId(text);
    return id && text.starts_with(after) ? id : std::nullopt;
}

std::optional<Sign> signOfController(std::string_view message) {
    for (Fixed const& line : kControllerLines) {
        if (message.starts_with(line.text)) return Sign{line.saying, {}};
    }
    struct WithSensor {
        std::string_view before;
        std::string_view after;
        Saying saying;
    };
    constexpr std::array kWithSensor{
        WithSensor{"sensorId(", ") state: PowerOngoing", Saying::Admitted},
        WithSensor{"sensorId(", ") state: ", Saying::Skipped},
        WithSensor{"sensorId(", ") is not of this controller", Saying::NotDriven},
        WithSensor{"sensorId(", ") power-off not queued", Saying::NotQueued},
        WithSensor{"Bad HalSensor - sensorId=", "", Saying::NoHandle},
        WithSensor{"release but something(", ") still in list", Saying::StillInList},
    };
    for (auto const& [before, after, saying] : kWithSensor) {
        if (auto const sensor = idBetween(message, before, after)) return Sign{saying, sensor};
    }
    return Sign{};
}

std::optional<Sign> signOfWorker(std::string_view message) {
    if (auto const sensor = idBetween(message, "powerOnSensor: ", ""))
        return Sign{Saying::WorkerBegins, sensor};
    if (auto const sensor = idBetween(message, "sensorIndex:", " powerOn failed"))
        return Sign{Saying::SensorFailed, sensor};
    return Sign{};
}

// `head` ends with the sensor's id.
std::optional<Sign> signOfListener(std::string_view head, std::string_view message) {
    auto const digits = head.find_last_not_of("-0123456789");
    head.remove_prefix(digits == std::string_view::npos ? 0 : digits + 1);
    auto const sensor = takeId(head);
    if (message.starts_with("Hal3AListener] 0x")) return Sign{Saying::RecordMade, sensor};
    if (message.find("] Bad mPeripheralCtrl") != std::string_view::npos)
        return Sign{Saying::NoPeripheral, sensor};
    if (message.find("] Bad mHal3aCtrl") != std::string_view::npos) return Sign{Saying::No3A, sensor};
    return Sign{Saying::Other, sensor};
}

bool isHint(std::string_view text) {
    return text.starts_with("write camera_ux ") || text.starts_with("mm interface loadzeq_cameraux_scen ") ||
           text.starts_with("wrong scen (");
}

// The name or id behind the label's begin.
std::optional<SectionSign> signOfSensorSection(std::string_view label, std::string_view before,
                                               Saying saying) {
    if (!label.starts_with(before)) return {};
    std::string_view rest = label.substr(before.size());
    std::string_view const name = rest;
    auto const sensor = takeId(rest);
    if (sensor && rest.empty()) return SectionSign{saying, sensor};
    return name.empty() ? std::nullopt : std::optional(SectionSign{saying, {}, name});
}

}  // namespace

bool isOurTag(std::string_view tag) {
    return tag.empty() || tag == kControllerTag || tag == kListenerTag;
}

std::optional<Sign> signOfLine(std::string_view tag, std::string_view text) {
    if (!isOurTag(tag)) return {};
    if (isHint(text)) return Sign{Saying::Hint, {}};
    std::optional<Sign> sign;
    bool isInFront = false;
    if (auto const at = text.find(kController); at != std::string_view::npos) {
        auto const message = text.find("] ", at);
        if (message != std::string_view::npos) sign = signOfController(text.substr(message + 2));
        isInFront = at == 0;
    } else if (auto const worker = text.find(kWorker); worker != std::string_view::npos) {
        sign = signOfWorker(text.substr(worker + kWorker.size()));
        isInFront = worker == 0;
    } else if (auto const listener = text.find(kListener); listener != std::string_view::npos) {
        sign = signOfListener(text.substr(0, listener), text.substr(listener + kListener.size()));
        isInFront = text.substr(0, listener).find_first_not_of("-0123456789") == std::string_view::npos;
    }
    if (!sign) return tag.empty() ? std::nullopt : std::optional(Sign{});
    sign->isDebugPrint = !isInFront;
    return sign;
}

std::optional<SectionSign> signOfSection(std::string_view label) {
    for (Fixed const& section : kSections) {
        if (label == section.text) return SectionSign{section.saying, {}};
    }
    if (auto sign = signOfSensorSection(label, "powerOnSensor: ", Saying::WorkerSection)) return sign;
    return signOfSensorSection(label, "powerOff: ", Saying::TaskSection);
}

int phaseOf(Saying saying, bool isEnd) {
    constexpr int kLast = 9;
    switch (saying) {
        case Saying::ClientRequest:
            return isEnd ? kLast + 1 : -1;
        case Saying::PowerOnSection:
        case Saying::PowerOffSection:
        case Saying::WorkerSection:
            return isEnd ? kLast : 3;
        case Saying::TaskSection:
            return 5;
        case Saying::LockTaken:
        case Saying::LockNotTaken:
            return 0;
        case Saying::Admitted:
        case Saying::Skipped:
        case Saying::NotDriven:
            return 1;
        case Saying::PowerOnBegins:
        case Saying::PowerOffBegins:
            return 2;
        case Saying::RecordMade:
        case Saying::RecordFiled:
        case Saying::NoSensorList:
        case Saying::NoHandle:
        case Saying::WorkerBegins:
        case Saying::NotQueued:
        case Saying::StillInList:
        case Saying::Hint:
        case Saying::SensorCall:
            return 4;
        case Saying::PeripheralInitSection:
        case Saying::PeripheralOnSection:
        case Saying::NoPeripheral:
        case Saying::Hal3AOffSection:
        case Saying::PeripheralOffSection:
        case Saying::AllUp:
            return 5;
        case Saying::Hal3AInitSection:
        case Saying::Hal3AOnSection:
        case Saying::No3A:
        case Saying::NotifyOnSection:
        case Saying::LockReleased:
            return 6;
        case Saying::NoRecord:
        case Saying::NoWorker:
        case Saying::SensorFailed:
        case Saying::PowerOnEnds:
        case Saying::PowerOffEnds:
            return 7;
        case Saying::Other:
            return 8;
    }
    return kLast;
}

}  // namespace zeqcam::tool
