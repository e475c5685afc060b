// The position entries and events that follow an uploaded report: sent in
// order on a thread of their own until the website fails, the rest kept in
// a file of the report backup's format for the next contact.

// The INI library's template bodies are compiled in each file that uses it
// (the packaged header keeps them behind SI_IMPLEMENTATION).
#define SI_IMPLEMENTATION
#ifndef SI_NO_CONVERSION
#define SI_NO_CONVERSION
#endif
#include "CPendingUploads.h"

#include <SimpleIni.h>

#include <boost/algorithm/hex.hpp>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <system_error>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CFileAccess.h"
#include "CJoinableThread.h"
#include "CLogger.h"

namespace {

// Far more than the longest flight keeps; a larger count is damage.
constexpr int kMaxEntries = 100000;
// Far above what the file holds; a larger file is not ours.
constexpr long kMaxFileBytes = 64L * 1024L * 1024L;

struct tPendingFlight {
    tTarvex_Pilots pilot;
    tTarvex_Logs log;
    tTarvex_Reports report;
    std::deque<tquelby_position_logs> positions;
    std::deque<Blackbox::tDataRecord> events;

    std::size_t size() const { return positions.size() + events.size(); }
};

std::string sectionOf(std::size_t flight) { return "pending" + std::to_string(flight); }

template <typename Record>
void putRecord(CSimpleIniA& store, const std::string& section, const std::string& key,
               const Record& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    std::string text;
    boost::algorithm::hex(bytes, bytes + sizeof(record), std::back_inserter(text));
    store.SetValue(section.c_str(), key.c_str(), text.c_str());
}

// False, record untouched, unless the value is exactly the record's bytes.
template <typename Record>
bool getRecord(const CSimpleIniA& store, const std::string& section, const std::string& key,
               Record& record) {
    const std::string text = store.GetValue(section.c_str(), key.c_str(), "");
    if (text.size() != 2 * sizeof(record)) {
        return false;
    }
    std::string bytes;
    try {
        boost::algorithm::unhex(text, std::back_inserter(bytes));
    } catch (const std::exception&) {
        return false;
    }
    std::memcpy(static_cast<void*>(&record), bytes.data(), sizeof(record));
    return true;
}

int countOf(const CSimpleIniA& store, const std::string& section, const char* key) {
    const long count = store.GetLongValue(section.c_str(), key, 0);
    return count < 0 ? 0 : count > kMaxEntries ? kMaxEntries : static_cast<int>(count);
}

// A result word of the website's own: it read the request and refused it,
// and would refuse it again. Anything else is the website failing.
bool isRefusal(int result) {
    return result != CClientInterface::kSuccess && result != CClientInterface::kBadData &&
           result != CClientInterface::kCouldNotOpenUrl && result != CClientInterface::kInitFailed;
}

}  // namespace

struct CPendingUploads::tState {
    explicit tState(const std::string& name) : fileName(name) {}

    const std::string fileName;
    const CLogger logger{"CPendingUploads"};

    mutable std::mutex mutex;  // guards the fields up to idle
    std::deque<tPendingFlight> flights;
    bool sending = false;
    bool stopping = false;
    mutable std::condition_variable idle;

    // Client thread only (and the series while it runs, for link).
    bool loaded = false;
    std::unique_ptr<CClientInterface> link;
    std::unique_ptr<CJoinableThread> series;

    // Orders the saves of the two threads: the later save writes the later state.
    std::mutex fileMutex;
    bool saveFailed = false;

    std::size_t pendingLocked() const {
        std::size_t count = 0;
        for (const tPendingFlight& flight : flights) count += flight.size();
        return count;
    }

    void load();
    void save();
    void run();
};

void CPendingUploads::tState::load() {
    loaded = true;
    std::FILE* file = CFileAccess::open(fileName, "rb");
    if (file == nullptr) {
        return;  // nothing waits
    }
    std::string text;
    char block[65536];
    std::size_t got = 0;
    while ((got = std::fread(block, 1, sizeof(block), file)) > 0 &&
           text.size() <= static_cast<std::size_t>(kMaxFileBytes)) {
        text.append(block, got);
    }
    std::fclose(file);
    CSimpleIniA store;
    if (text.size() > static_cast<std::size_t>(kMaxFileBytes) || store.LoadData(text) < 0) {
        logger.error("Could not read " + fileName + "; the entries in it are not sent");
        return;
    }
    std::deque<tPendingFlight> found;
    for (std::size_t n = 0; store.GetSectionSize(sectionOf(n).c_str()) > 0; ++n) {
        const std::string section = sectionOf(n);
        tPendingFlight flight;
        if (!getRecord(store, section, "Tarvex_Pilots", flight.pilot) ||
            !getRecord(store, section, "Tarvex_Logs", flight.log) ||
            !getRecord(store, section, "Tarvex_Reports", flight.report)) {
            logger.error("Pending flight " + std::to_string(n) + " in " + fileName +
                         " lacks its records; its entries are not sent");
            continue;
        }
        const int positions = countOf(store, section, "numpositionlogs");
        for (int i = 0; i < positions; ++i) {
            tquelby_position_logs entry{};
            if (!getRecord(store, section, "positiondata" + std::to_string(i), entry)) break;
            flight.positions.push_back(entry);
        }
        const int events = countOf(store, section, "numeventlogs");
        for (int i = 0; i < events; ++i) {
            Blackbox::tDataRecord event{};
            if (!getRecord(store, section, "eventdata" + std::to_string(i), event)) break;
            // A damaged file must not leave a text without its terminator.
            event.flightState[sizeof(event.flightState) - 1] = '\0';
            event.text[sizeof(event.text) - 1] = '\0';
            flight.events.push_back(event);
        }
        if (flight.positions.size() != static_cast<std::size_t>(positions) ||
            flight.events.size() != static_cast<std::size_t>(events)) {
            logger.warn("Pending flight " + std::to_string(n) + " in " + fileName + " holds " +
                        std::to_string(flight.size()) + " of its " +
                        std::to_string(positions + events) + " entries");
        }
        found.push_back(std::move(flight));
    }
    std::lock_guard<std::mutex> lock(mutex);
    // Older than anything this run added: they go first.
    flights.insert(flights.begin(), found.begin(), found.end());
    if (!found.empty()) {
        logger.debug(std::to_string(pendingLocked()) + " entries after a report wait in " +
                     fileName);
    }
}

void CPendingUploads::tState::save() {
    std::lock_guard<std::mutex> fileLock(fileMutex);
    CSimpleIniA store;
    bool empty = true;
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (std::size_t n = 0; n < flights.size(); ++n) {
            const tPendingFlight& flight = flights[n];
            const std::string section = sectionOf(n);
            putRecord(store, section, "Tarvex_Pilots", flight.pilot);
            putRecord(store, section, "Tarvex_Logs", flight.log);
            putRecord(store, section, "Tarvex_Reports", flight.report);
            store.SetLongValue(section.c_str(), "numpositionlogs",
                               static_cast<long>(flight.positions.size()));
            for (std::size_t i = 0; i < flight.positions.size(); ++i) {
                putRecord(store, section, "positiondata" + std::to_string(i), flight.positions[i]);
            }
            store.SetLongValue(section.c_str(), "numeventlogs",
                               static_cast<long>(flight.events.size()));
            for (std::size_t i = 0; i < flight.events.size(); ++i) {
                putRecord(store, section, "eventdata" + std::to_string(i), flight.events[i]);
            }
            empty = false;
        }
    }
    std::string failure;
    if (empty) {
        std::error_code error;
        std::filesystem::remove(std::filesystem::u8path(fileName), error);
        if (error) failure = error.message();
    } else {
        std::string text;
        failure = store.Save(text) < 0 ? "cannot format it" : CFileAccess::replace(fileName, text);
    }
    if (failure.empty()) {
        saveFailed = false;
    } else if (!saveFailed) {
        // Once until a save works again: a series saves after every entry.
        saveFailed = true;
        logger.error("Could not save " + fileName + " (" + failure +
                     "); the entries still to send stay in memory until X-Plane quits");
    }
}

void CPendingUploads::tState::run() {
    CClientInterface& client = *link;
    std::size_t delivered = 0;
    bool failed = false;
    for (;;) {
        bool isPosition = false;
        tquelby_position_logs position{};
        Blackbox::tDataRecord event{};
        {
            std::lock_guard<std::mutex> lock(mutex);
            while (!flights.empty() && flights.front().size() == 0) flights.pop_front();
            if (stopping || flights.empty()) break;
            const tPendingFlight& flight = flights.front();
            client.m_pilot = flight.pilot;
            client.m_log = flight.log;
            client.m_report = flight.report;
            isPosition = !flight.positions.empty();
            if (isPosition) {
                position = flight.positions.front();
            } else {
                event = flight.events.front();
            }
        }
        int taken = 0;
        if (isPosition) {
            client.m_position = position;
            taken = client.writePositionLog();
        } else {
            taken = client.writeEventLog(&event);
        }
        const int result = client.getLastResult();
        if (taken != 1 && !isRefusal(result)) {
            failed = true;
            break;
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            tPendingFlight& flight = flights.front();
            isPosition ? flight.positions.pop_front() : flight.events.pop_front();
        }
        if (taken == 1) {
            ++delivered;
        } else {
            // Sent again it would get the same word, and hold up every entry
            // behind it for good.
            logger.warn(std::string("The website refused ") +
                        (isPosition ? "position entry " + std::to_string(position.PositionId)
                                    : std::string("event \"") + event.text + "\"") +
                        " with " + client.getLastMessage() + "; it is not sent again");
        }
        save();
    }
    save();
    std::size_t left = 0;
    bool stopped = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        left = pendingLocked();
        stopped = stopping;
        sending = false;
    }
    idle.notify_all();
    const std::string sent = "Sent " + std::to_string(delivered) + " entries after the report";
    if (left == 0) {
        logger.debug(sent);
    } else {
        // A stop aborts the request in flight, which then fails as well.
        logger.warn(
            sent + (failed && !stopped ? "; the website failed at the next one, " : "; stopped, ") +
            std::to_string(left) + " wait for the next contact");
    }
}

CPendingUploads::CPendingUploads(const std::string& fileName)
    : m_state(std::make_shared<tState>(fileName)) {}

CPendingUploads::~CPendingUploads() {
    {
        std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->stopping = true;
    }
    // The series saves what is left as it ends.
    m_state->series.reset();
}

void CPendingUploads::add(const CClientInterface& client,
                          const std::vector<tquelby_position_logs>& positions,
                          const std::vector<Blackbox::tDataRecord>& events) {
    if (!m_state->loaded) {
        m_state->load();
    }
    tPendingFlight flight;
    flight.pilot = client.m_pilot;
    flight.log = client.m_log;
    flight.report = client.m_report;
    flight.positions.assign(positions.begin(), positions.end());
    flight.events.assign(events.begin(), events.end());
    if (flight.size() == 0) {
        resume(client);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->flights.push_back(std::move(flight));
    }
    // On disk before the first request: a simulator that dies meanwhile
    // loses none of them.
    m_state->save();
    resume(client);
}

void CPendingUploads::resume(const CClientInterface& client) {
    tState& state = *m_state;
    if (!state.loaded) {
        state.load();
    }
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        if (state.sending || state.stopping || state.pendingLocked() == 0) {
            return;
        }
        state.sending = true;
    }
    // The last series has ended: its thread is joined at once.
    state.series.reset();
    if (!state.link) {
        state.link = std::make_unique<CClientInterface>();
    }
    state.link->shareIdentity(client);
    std::shared_ptr<tState> shared = m_state;
    state.series = std::make_unique<CJoinableThread>([shared] { shared->run(); });
}

std::size_t CPendingUploads::countPending() const {
    if (!m_state->loaded) {
        m_state->load();
    }
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->pendingLocked();
}

bool CPendingUploads::waitUntilIdle(std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(m_state->mutex);
    return m_state->idle.wait_for(lock, limit, [&] { return !m_state->sending; });
}
