#pragma once

#include "record/Record.h"

namespace zeqcam::tool {

// Requests that need their controller to themselves, and wait while another has it.
constexpr bool needsController(RequestKind kind) {
    return kind == RequestKind::PowerOn || kind == RequestKind::PowerOff;
}

// What a request does only when it has its controller to itself.
constexpr KindSet kControllersWork{board::Kind::TraceBegin,    board::Kind::ProfileBegin,
                                   board::Kind::SensorListGet, board::Kind::SensorCreate,
                                   board::Kind::TaskPost,      board::Kind::SensorPowerOff,
                                   board::Kind::Hal3APowerOff, board::Kind::QosOpen,
                                   board::Kind::QosWrite,      board::Kind::CriticalTask};

}  // namespace zeqcam::tool
