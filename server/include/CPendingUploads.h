// What goes up after a flight's report: its kept position entries and its
// event log, one request each. They are sent on a thread of their own, so
// that the window answers while a slow website takes them; the first failure
// of the website stops the series, and what it has not taken waits in
// "quelby_pending.ini" until the next contact sends it, each entry once.
//
// The file holds one section per flight, "pending0", "pending1", ..., with
// the report backup's keys and record format: "Tarvex_Pilots",
// "Tarvex_Logs" and "Tarvex_Reports" (who sent the flight and under which
// ids the website files it), "numpositionlogs" and "positiondata<n>",
// "numeventlogs" and "eventdata<n>", each record as upper-case hexadecimal.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ServerRecords.h"

class CClientInterface;

namespace Blackbox {
struct tDataRecord;
}

// Threads: add(), resume() and the counts on the client thread; the sending
// runs on a thread of its own, which the destructor waits for (at once when
// transfers are aborted, as at the plug-in's stop) after it has saved what
// is left.
class CPendingUploads {
public:
    // fileName: where what is not delivered waits, read at the first add()
    // or resume().
    explicit CPendingUploads(const std::string& fileName);
    ~CPendingUploads();
    CPendingUploads(const CPendingUploads&) = delete;
    CPendingUploads& operator=(const CPendingUploads&) = delete;

    // The website took the flight's report (client holds its records, the
    // report id the website gave among them): its entries and events go up
    // now, after whatever an earlier flight left.
    void add(const CClientInterface& client, const std::vector<tquelby_position_logs>& positions,
             const std::vector<Blackbox::tDataRecord>& events);
    // A contact with the website: what an earlier series left goes up now,
    // unless a series is under way. The requests go to client's website.
    void resume(const CClientInterface& client);

    // Entries and events not yet delivered.
    std::size_t countPending() const;
    // Waits until no series is under way; false when one still is after limit.
    bool waitUntilIdle(std::chrono::milliseconds limit) const;

private:
    struct tState;
    std::shared_ptr<tState> m_state;
};
