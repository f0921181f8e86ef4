#include "run/JournalRecord.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace zeqcam::tool {
namespace {

using board::Entry;
using board::Kind;

constexpr KindSet kOfASensor{
    Kind::SensorCreate,      Kind::SensorRelease,      Kind::SensorPowerOn,      Kind::SensorPowerOnDone,
    Kind::SensorPowerOff,    Kind::SensorPowerOffDone, Kind::SensorAfterPowerOn, Kind::Hal3AGet,
    Kind::Hal3APowerOn,      Kind::Hal3APowerOff,      Kind::Hal3ARelease,       Kind::PeripheralGet,
    Kind::PeripheralPowerOn, Kind::PeripheralPowerOff, Kind::PeripheralRelease,  Kind::CallerFault};

// Reads a journal from its begin to its end.
class Reader {
  public:
    explicit Reader(Record& record) : mRecord(record), mGiven(record.requests.size()) {
        for (std::uint32_t index = 0; index < record.clients.size(); ++index) {
            mClients.emplace(record.textOf(record.clients[index].name), ClientState{index, {}, 0});
        }
        for (std::uint32_t index = 0; index < record.requests.size(); ++index) {
            Request const& request = record.requests[index];
            if (request.kind == RequestKind::Sleep) continue;
            mClients.at(std::string(record.textOf(record.clients[request.client].name)))
                .known.push_back(index);
        }
    }

    void read(Entry const& entry) {
        std::uint32_t const thread = threadOf(entry.thread);
        auto& request = mRequests[thread];
        if (entry.kind == Kind::Request) request = begun(entry, thread);
        add(entry, thread, request);
        if (entry.kind == Kind::Reply) end(entry, request);
    }

  private:
    struct ClientState {
        std::uint32_t index = 0;
        std::vector<std::uint32_t> known;  // its requests among the given
        std::size_t begun = 0;
    };

    std::uint32_t threadOf(int id) {
        auto const [known, isNew] = mThreads.emplace(id, static_cast<std::uint32_t>(mRecord.threads.size()));
        if (isNew) {
            mRecord.threads.push_back({.id = id});
            mRequests.emplace_back();
        }
        return known->second;
    }

    void add(Entry const& entry, std::uint32_t thread, OptionalNumber<std::uint32_t> request) {
        Texts& texts = mRecord.texts;
        mRecord.events.push_back({.time = instantOf(entry.time),
                                  .number = entry.number,
                                  .request = request,
                                  .thread = thread,
                                  .text = texts.add(entry.text),
                                  .detail = texts.add(entry.detail),
                                  .shown = texts.add(entry.shown),
                                  .kind = entry.kind});
        if (kOfASensor.contains(entry.kind)) mRecord.events.back().sensor = entry.sensor;
    }

    std::uint32_t begun(Entry const& entry, std::uint32_t thread) {
        auto const index = static_cast<std::uint32_t>(mRecord.clients.size());
        auto const [client, isNew] = mClients.emplace(entry.text, ClientState{index, {}, 0});
        if (isNew) mRecord.clients.push_back({.name = mRecord.texts.add(entry.text)});
        mRecord.clients[client->second.index].thread = thread;
        std::size_t const place = client->second.begun++;
        if (place < client->second.known.size()) return client->second.known[place];
        mRecord.requests.push_back({.kind = requestKindOf(entry.detail),
                                    .name = mRecord.texts.add(entry.detail),
                                    .client = client->second.index,
                                    .sensors = entry.sensors,
                                    .began = instantOf(entry.time)});
        return static_cast<std::uint32_t>(mRecord.requests.size() - 1);
    }

    void end(Entry const& entry, OptionalNumber<std::uint32_t>& ended) {
        if (ended && *ended >= mGiven) {
            Request& request = mRecord.requests[*ended];
            request.ended = instantOf(entry.time);
            if (request.kind == RequestKind::PowerOn) request.result = entry.number != 0;
        }
        ended = {};
    }

    Record& mRecord;
    std::size_t const mGiven;  // requests, which are not this reader's to fill
    std::map<std::string, ClientState, std::less<>> mClients;
    std::map<int, std::uint32_t> mThreads;
    std::vector<OptionalNumber<std::uint32_t>> mRequests;  // that each thread is in
};

}  // namespace

void addJournal(Record& record, std::vector<Entry> const& journal) {
    record.events.reserve(journal.size());
    Reader reader(record);
    for (Entry const& entry : journal) reader.read(entry);
    record.shows = KindSet::all();
    record.begin = record.events.empty() ? record.end : record.events.front().time;
}

void addCallerFaults(Record& record, std::vector<board::CallerFault> const& faults) {
    for (board::CallerFault const& fault : faults) {
        Instant const time = instantOf(fault.time);
        if (time > record.end) continue;
        CallerFault& added = record.callerFaults.emplace_back();
        added.time = time;
        added.sensor = fault.sensor;
        added.text = record.texts.add(fault.what);
        for (std::uint32_t index = 0; index < record.threads.size(); ++index) {
            if (record.threads[index].id == fault.thread) added.thread = index;
        }
    }
}

Record recordOf(std::vector<Entry> const& journal, Instant end) {
    Record record;
    record.end = end;
    addJournal(record, journal);
    return record;
}

Instant instantOf(std::chrono::steady_clock::time_point time) {
    return Instant(time.time_since_epoch());
}

}  // namespace zeqcam::tool
