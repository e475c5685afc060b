// The flight's event recorder: reads the rules of "blackbox.xml", checks them
// against the aircraft's current values, logs and plays what fires, and keeps
// the event log for the report upload and the report backup.
#pragma once

#include <boost/circular_buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "BlackboxValues.h"

namespace pugi {
class xml_document;
struct xml_parse_result;
}  // namespace pugi

class CClientInterface;
class CLogger;
class CSound;
struct tagAircraftData;

namespace Blackbox {

class CEventBase;

// Threads: the client thread only (refreshed and read by the recorder's
// check cycle).
//
// One value per variable a rule can watch; value rules point into it.
struct tCurrentData {
    CDoubleValue ias;            // indicated airspeed, knots
    CDoubleValue landinglights;  // 0 or 1
    CDoubleValue gear;           // 0 or 1, 1 down
    CDoubleValue flaps;          // deploy ratio 0 to 1
    CDoubleValue altitudestd;    // feet
    CDoubleValue altitudeagl;    // height above ground, feet
    CDoubleValue vs;             // vertical speed, feet per minute
    CDoubleValue groundspeed;    // knots
    CDoubleValue flightstate;    // phase number
    CStringValue aircrafttype;   // the booked aircraft's type
    CStringValue destination;    // the booked arrival airport
    CStringValue closestairport;

    // The variable a rule's "var" names (already lower-cased), or null.
    CValueBase* find(const std::string& name);
};

// Threads: the client thread only.
//
// One logged event. Saved byte for byte into the report backup, so its 88
// bytes are a file format: little-endian, no padding; the static_asserts
// below pin every offset. Both texts are always terminated.
struct tDataRecord {
    int32_t timestamp;     // 0, flight time in whole seconds
    int32_t altitude;      // 4, feet, truncated
    int32_t speed;         // 8, indicated airspeed, knots
    char flightState[10];  // 12, the phase's name
    char text[66];         // 22, the rule's text
};

static_assert(std::is_standard_layout<tDataRecord>::value &&
                  std::is_trivially_copyable<tDataRecord>::value,
              "the event record is saved byte for byte");
static_assert(sizeof(tDataRecord) == 88, "saved event record size");
static_assert(offsetof(tDataRecord, timestamp) == 0, "saved event record layout");
static_assert(offsetof(tDataRecord, altitude) == 4, "saved event record layout");
static_assert(offsetof(tDataRecord, speed) == 8, "saved event record layout");
static_assert(offsetof(tDataRecord, flightState) == 12, "saved event record layout");
static_assert(offsetof(tDataRecord, text) == 22, "saved event record layout");

// Threads: the client thread only. The aircraft record it reads is filled on
// the same thread between the simulator handshake's steps; nothing here
// takes a lock.
//
// At most 10 events are logged in any 60 seconds of flight time; the ones
// beyond are dropped with their sounds. None of the three objects given is
// owned, and each may be null: without the aircraft record the numbers and
// the event times stay 0, without the server link the booked texts stay empty
// and the log is not uploaded, without a player nothing is heard.
class CBlackbox {
public:
    static constexpr std::size_t kRecentEventsCapacity = 10;
    static constexpr int kRateLimitWindowS = 60;

    // Reads the rule file at once.
    CBlackbox(CSound* sound, tagAircraftData* aircraftData, CClientInterface* client);
    ~CBlackbox();
    CBlackbox(const CBlackbox&) = delete;
    CBlackbox& operator=(const CBlackbox&) = delete;

    // Appends the rules of <data path>blackbox.xml. A missing or broken file
    // gives no rules; a rule that cannot be built is left out; both logged.
    void parseXml();
    // The same for a rule file's text, as read from the file (any encoding
    // that the file may have).
    void parseXmlText(const char* text, std::size_t size);
    // At flight start: refreshes the current data and arms every rule.
    void init();
    // One check cycle, on every pass of the client loop during a flight.
    void check();
    void updateData();
    // Logs text (unless empty) into the event log and plays sound (unless
    // empty).
    void executeEvent(const std::string& text, const std::string& sound);
    tCurrentData* getCurrentData() { return &m_currentData; }

    // Sends every logged event to the website, then empties the log whatever
    // the website answered.
    void uploadLog();
    // The event log into section "report" of the report store, and back.
    // Loading stops at the first record the store lacks, whatever count it
    // claims.
    void backup();
    void loadBackup();
    // Between flights: no events, and every rule back as the file gives it.
    void reset();
    void clearEventList();
    void clearFlightData();

    // The live rules and the log, for the flight's screens and the tests.
    std::size_t getNumEvents() const { return m_events.size(); }
    const std::vector<tDataRecord>& getFlightData() const { return m_flightData; }

private:
    // Builds and appends the rules of a document just read; result says
    // whether reading it worked. False when the document holds no rules
    // element at all.
    bool addRules(const pugi::xml_document& document, const pugi::xml_parse_result& result);
    // The aircraft record's flight time in whole seconds, as the simulator
    // interface counts it.
    int flightTimeS() const;
    void restartRateLimit();

    std::vector<std::unique_ptr<CEventBase>> m_events;
    std::vector<tDataRecord> m_flightData;
    tCurrentData m_currentData;
    CSound* m_pSound;
    tagAircraftData* m_pAircraftData;
    CClientInterface* m_pClient;
    std::unique_ptr<CLogger> m_pLogger;
    std::string m_dataPath;
    // Flight times of the latest logged events, oldest first.
    boost::circular_buffer<int> m_recentEvents;
    // The phase rules read when the aircraft record is missing.
    int m_noFlightState = -1;
};

}  // namespace Blackbox
