#include "run/JournalRecord.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Entry;
using board::Kind;

constexpr KindSet kOfASensor{
    Kind::SensorCreate,      Kind::SensorRelease,      Kind::SensorPowerOn,      Kind::SensorPowerOnDone,
    Kind::SensorPowerOff,    Kind::SensorPowerOffDone, Kind::SensorAfterPowerOn, Kind::Hal3AGet,
    Kind::Hal3APowerOn,      Kind::Hal3APowerOff,      Kind::Hal3ARelease,       Kind::PeripheralGet,
    Kind::PeripheralPowerOn, Kind::PeripheralPowerOff, Kind::PeripheralRelease,  Kind::CallerFault};

// Finds a client by its name, and its requests in order.
class Clients {
  public:
    explicit Clients(Record& record) : mRecord(record) {
        for (std::uint32_t index = 0; index < record.clients.size(); ++index)
            mClients.emplace(record.clients[index].name, ClientState{index, {}, 0});
        for (std::uint32_t index = 0; index < record.requests.size(); ++index) {
            Request const& request = record.requests[index];
            if (request.kind == RequestKind::Sleep || request.kind == RequestKind::Other) continue;
            mClients.at(record.clients[request.client].name).known.push_back(index);
        }
    }

    std::uint32_t clientNamed(TextId name) {
        auto const index = static_cast<std::uint32_t>(mRecord.clients.size());
        auto const [client, isNew] = mClients.emplace(name, ClientState{index, {}, 0});
        if (isNew) mRecord.clients.push_back({.name = name});
        return client->second.index;
    }

    // The next of those that stand in the record.
    std::optional<std::uint32_t> nextKnown(TextId name) {
        ClientState& client = mClients.at(name);
        std::size_t const place = client.begun++;
        return place < client.known.size() ? std::optional(client.known[place]) : std::nullopt;
    }

  private:
    struct ClientState {
        std::uint32_t index = 0;
        std::vector<std::uint32_t> known;
        std::size_t begun = 0;
    };

    Record& mRecord;
    std::map<TextId, ClientState> mClients;
};

}  // namespace

void JournalReader::read(std::vector<Entry> const& journal) {
    for (Entry const& entry : journal) read(entry);
}

void JournalReader::read(Entry const& entry) {
    std::uint32_t const thread = threadOf(entry.thread);
    auto& request = mRequests[thread];
    if (entry.kind == Kind::Request) {
        request = static_cast<std::uint32_t>(mBegun.size());
        mBegun.push_back({mRecord.texts.add(entry.text),
                          mRecord.texts.add(entry.detail),
                          thread,
                          entry.sensors,
                          instantOf(entry.time),
                          {},
                          false});
    }
    add(entry, thread, request);
    if (entry.kind != Kind::Reply) return;
    if (request) {
        mBegun[*request].ended = instantOf(entry.time);
        mBegun[*request].result = entry.number != 0;
    }
    request = {};
}

std::uint32_t JournalReader::threadOf(int id) {
    auto const [known, isNew] = mThreads.emplace(id, static_cast<std::uint32_t>(mRecord.threads.size()));
    if (isNew) {
        mRecord.threads.push_back({.id = id});
        mRequests.emplace_back();
    }
    return known->second;
}

void JournalReader::add(Entry const& entry, std::uint32_t thread, OptionalNumber<std::uint32_t> request) {
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

std::vector<std::uint32_t> JournalReader::requestsOfBegun(Instant last) {
    Clients clients(mRecord);
    std::vector<std::uint32_t> requests(mBegun.size());
    for (std::size_t i = 0; i < mBegun.size(); ++i) {
        Begun& begun = mBegun[i];
        if (begun.began > last) continue;
        std::uint32_t const client = clients.clientNamed(begun.client);
        mRecord.clients[client].thread = begun.thread;
        auto const known = clients.nextKnown(begun.client);
        requests[i] = known.value_or(static_cast<std::uint32_t>(mRecord.requests.size()));
        if (known) continue;
        Request& request = mRecord.requests.emplace_back();
        request.kind = requestKindOf(mRecord.textOf(begun.name));
        request.name = begun.name;
        request.client = client;
        request.sensors = std::move(begun.sensors);
        request.began = begun.began;
        if (!begun.ended || *begun.ended > last) continue;
        request.ended = begun.ended;
        if (request.kind == RequestKind::PowerOn) request.result = begun.result;
    }
    return requests;
}

void JournalReader::finish(Instant last) {
    std::erase_if(mRecord.events, [last](Event const& event) { return event.time > last; });
    auto const requests = requestsOfBegun(last);
    for (Event& event : mRecord.events) {
        if (event.request) event.request = requests[*event.request];
    }
    mRecord.shows = KindSet::all();
    mRecord.begin = mRecord.events.empty() ? mRecord.end : mRecord.events.front().time;
}

void addJournal(Record& record, std::vector<Entry> const& journal) {
    record.events.reserve(journal.size());
    JournalReader reader(record);
    reader.read(journal);
    reader.finish();
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
