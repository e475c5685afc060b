// The event recorder: the rule file reader, the check cycle, the rate-limited
// event log and its upload, backup and restore.
#include "CBlackbox.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <pugixml.hpp>

#include "AircraftData.h"
#include "BlackboxEvents.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFileAccess.h"
#include "CFlightState.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CSound.h"
#include "ServerRecords.h"

namespace Blackbox {

namespace {

const char* const kRuleFileName = "blackbox.xml";
const char* const kSection = "report";
const char* const kCountKey = "numeventlogs";
const char* const kRecordKey = "eventdata";
// Far more than a day's flight can log at 10 events a minute; a larger count
// in the backup is damage, and honouring it would exhaust the memory.
constexpr int kMaxBackupRecords = 100000;

// Truncated toward zero as a cast would, but a value no int can hold (NaN,
// infinity, out of range) gives 0 instead of undefined behaviour.
int truncateToInt(double value) {
    int whole = 0;
    CNumberText::truncateToInt(value, whole);
    return whole;
}

// Copies text into a fixed field, cut to leave room for the terminator and
// zero-filled behind. A cut never splits a UTF-8 character.
template <std::size_t N>
void copyText(char (&field)[N], const std::string& text) {
    static_assert(N > 0, "a field holds at least its terminator");
    std::memset(field, 0, N);
    std::size_t length = text.size();
    if (length > N - 1) {
        length = N - 1;
        // Back off continuation bytes (10xxxxxx) to the start of their character.
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    std::memcpy(field, text.data(), length);
}

}  // namespace

CValueBase* tCurrentData::find(const std::string& name) {
    struct tVariable {
        const char* name;
        CValueBase* value;
    };
    const tVariable variables[] = {
        {"ias", &ias},
        {"landinglights", &landinglights},
        {"gear", &gear},
        {"flaps", &flaps},
        {"altitudestd", &altitudestd},
        {"altitudeagl", &altitudeagl},
        {"vs", &vs},
        {"groundspeed", &groundspeed},
        {"flightstate", &flightstate},
        {"aircrafttype", &aircrafttype},
        {"destination", &destination},
        {"closestairport", &closestairport},
    };
    for (const tVariable& variable : variables) {
        if (name == variable.name) {
            return variable.value;
        }
    }
    return nullptr;
}

CBlackbox::CBlackbox(CSound* sound, tagAircraftData* aircraftData, CClientInterface* client)
    : m_pSound(sound),
      m_pAircraftData(aircraftData),
      m_pClient(client),
      m_pLogger(std::make_unique<CLogger>("CBlackbox")),
      m_dataPath(CClientConfig::instance()->getDataPath()),
      m_recentEvents(kRecentEventsCapacity) {
    restartRateLimit();
    parseXml();
}

CBlackbox::~CBlackbox() = default;

void CBlackbox::parseXml() {
    m_pLogger->debug("parse blackbox.xml");
    // Read through the file seam: the data folder's name is UTF-8, which the
    // parser's own file opening does not take on every system.
    const std::string fileName = m_dataPath + kRuleFileName;
    std::string text;
    std::FILE* file = CFileAccess::open(fileName, "rb");
    if (file == nullptr) {
        m_pLogger->error("parsing blackbox.xml failed: " + fileName + " was not found");
        CLogger::support("rules", "flight recorder rules left out: " + fileName +
                                      " is missing; no events are recorded");
        return;
    }
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0) {
        text.append(buffer, got);
    }
    std::fclose(file);
    pugi::xml_document document;
    if (!addRules(document, document.load_buffer(text.data(), text.size()))) {
        CLogger::support("rules", "flight recorder rules left out: " + fileName +
                                      " is broken; no events are recorded");
    }
}

void CBlackbox::parseXmlText(const char* text, std::size_t size) {
    pugi::xml_document document;
    addRules(document, document.load_buffer(text, size));
}

bool CBlackbox::addRules(const pugi::xml_document& document, const pugi::xml_parse_result& result) {
    if (!result) {
        m_pLogger->error(std::string("parsing blackbox.xml failed: ") + result.description());
        return false;
    }
    const pugi::xml_node root = document.child("blackbox");
    if (!root) {
        m_pLogger->warn("blackbox.xml has no blackbox element: no rules");
        return false;
    }
    // The rules' description lines are long; they are built only to be written.
    const bool debug =
        std::strcmp(root.attribute("debug").as_string(), "true") == 0 && CLogger::isFileEnabled();
    int& flightState = m_pAircraftData != nullptr ? m_pAircraftData->nFlightState : m_noFlightState;

    for (const pugi::xml_node node : root.children()) {
        const char* name = node.name();
        std::unique_ptr<CEventBase> rule;
        if (std::strcmp(name, "event") == 0) {
            rule = std::make_unique<CValueEvent>(&node, this, debug, flightState);
        } else if (std::strcmp(name, "combination") == 0) {
            rule = std::make_unique<CCombinationEvent>(&node, this, debug, flightState);
        } else if (std::strcmp(name, "startflight") == 0) {
            rule = std::make_unique<CStartFlightEvent>(&node, this, debug, flightState);
        } else {
            m_pLogger->warn(std::string("invalid node: ") + name + ";");
            continue;
        }
        if (!rule->getBadValue().empty()) {
            m_pLogger->error("rule \"" + rule->getOutput() + "\" left out: value \"" +
                             rule->getBadValue() + "\" is not a number");
            continue;
        }
        if (rule->getOutput().size() >= sizeof(tDataRecord::text)) {
            m_pLogger->warn("rule text longer than " +
                            std::to_string(sizeof(tDataRecord::text) - 1) +
                            " characters is cut in the log: " + rule->getOutput());
        }
        m_events.push_back(std::move(rule));
    }
    return true;
}

void CBlackbox::init() {
    restartRateLimit();
    updateData();
    for (const std::unique_ptr<CEventBase>& event : m_events) {
        event->init();
    }
}

void CBlackbox::check() {
    updateData();
    // A rule that fired and may not fire again is deleted where it stands;
    // the list closes its gaps once, however the cycle ends, and the other
    // rules keep their order.
    struct tCloseGaps {
        std::vector<std::unique_ptr<CEventBase>>& events;
        ~tCloseGaps() {
            events.erase(std::remove(events.begin(), events.end(), nullptr), events.end());
        }
    } closeGaps{m_events};
    for (std::unique_ptr<CEventBase>& event : m_events) {
        if (event->check(false)) {
            executeEvent(event->getOutput(), event->getSound());
            if (!event->isMultiple()) {
                event.reset();
            }
        }
    }
}

void CBlackbox::updateData() {
    if (m_pAircraftData != nullptr) {
        const tagAircraftData& data = *m_pAircraftData;
        m_currentData.ias.setValue(data.nIndicatedAirspeedKts);
        m_currentData.landinglights.setValue(data.bLandingLights ? 1.0 : 0.0);
        m_currentData.gear.setValue(data.bGearDown ? 1.0 : 0.0);
        m_currentData.flaps.setValue(data.fFlapsRatio);
        m_currentData.altitudestd.setValue(data.dAltitudeFt);
        m_currentData.altitudeagl.setValue(data.nHeightAglFt);
        m_currentData.vs.setValue(data.nVerticalSpeedFpm);
        m_currentData.groundspeed.setValue(data.nGroundSpeedKts);
        m_currentData.flightstate.setValue(data.nFlightState);
        std::string closestAirport = recordText(data.closestAirport);
        m_currentData.closestairport.setValue(closestAirport);
    }
    if (m_pClient != nullptr) {
        std::string aircraftType = recordText(m_pClient->m_aircraft.Type);
        m_currentData.aircrafttype.setValue(aircraftType);
        std::string destination = recordText(m_pClient->m_route.Arr);
        m_currentData.destination.setValue(destination);
    }
}

int CBlackbox::flightTimeS() const {
    if (m_pAircraftData == nullptr) {
        return 0;
    }
    return truncateToInt(m_pAircraftData->dFlightTimeS) - m_pAircraftData->nFlightTimeOffsetS;
}

void CBlackbox::executeEvent(const std::string& text, const std::string& sound) {
    if (!text.empty()) {
        const int now = flightTimeS();
        if (m_recentEvents.full() && now < m_recentEvents.front() + kRateLimitWindowS) {
            m_pLogger->warn("Blocking event log: Too many events!");
            return;
        }
        tDataRecord record;
        std::memset(&record, 0, sizeof(record));
        record.timestamp = now;
        if (m_pAircraftData != nullptr) {
            record.altitude = truncateToInt(m_pAircraftData->dAltitudeFt);
            record.speed = m_pAircraftData->nIndicatedAirspeedKts;
            copyText(record.flightState,
                     CFlightState::stateToString(m_pAircraftData->nFlightState));
        }
        copyText(record.text, text);
        m_flightData.push_back(record);
        m_recentEvents.push_back(now);
        m_pLogger->debug("Event logged: " + text);
    }
    if (!sound.empty()) {
        if (m_pSound != nullptr) {
            m_pSound->play(sound, true);
        }
        m_pLogger->debug("Play sound: " + sound);
    }
}

void CBlackbox::uploadLog() {
    if (m_pClient == nullptr) {
        m_pLogger->error("uploadLog without client interface: the event log is kept");
        return;
    }
    // What the website answers is not looked at: the log goes either way.
    for (const tDataRecord& record : m_flightData) {
        m_pClient->writeEventLog(&record);
    }
    clearFlightData();
}

void CBlackbox::backup() {
    CIniParser* ini = CIniParser::instance();
    ini->writeStringToReport(kSection, kCountKey, std::to_string(m_flightData.size()));
    for (std::size_t i = 0; i < m_flightData.size(); ++i) {
        ini->writeStructToReport(kSection, kRecordKey + std::to_string(i), &m_flightData[i],
                                 sizeof(tDataRecord));
    }
}

void CBlackbox::loadBackup() {
    CIniParser* ini = CIniParser::instance();
    int count = ini->getIntFromReport(kSection, kCountKey);
    if (count > kMaxBackupRecords) {
        m_pLogger->warn("Report-Backup claims " + std::to_string(count) +
                        " event records; loading the first " + std::to_string(kMaxBackupRecords));
        count = kMaxBackupRecords;
    }
    clearFlightData();
    for (int i = 0; i < count; ++i) {
        const std::string key = kRecordKey + std::to_string(i);
        // A count beyond the records stored is damage: taking every missing
        // record as an empty event would upload up to the cap of empty
        // events, one request each, and hold the client for hours.
        char probe[4] = {0};
        if (!ini->getStringFromReport(kSection, key, probe, sizeof(probe)) || probe[0] == '\0') {
            m_pLogger->warn("Report-Backup holds " + std::to_string(i) + " event records, not " +
                            std::to_string(count));
            break;
        }
        tDataRecord record;
        std::memset(&record, 0, sizeof(record));
        ini->getStructFromReport(kSection, key, &record, sizeof(record));
        // A damaged file must not leave a text without its terminator.
        record.flightState[sizeof(record.flightState) - 1] = '\0';
        record.text[sizeof(record.text) - 1] = '\0';
        m_flightData.push_back(record);
    }
}

void CBlackbox::restartRateLimit() {
    // Each flight's clock starts at 0, so the last flight's events say
    // nothing about this one's; its first minute counts as having had one
    // event at 0 s.
    m_recentEvents.clear();
    m_recentEvents.push_back(0);
}

void CBlackbox::reset() {
    restartRateLimit();
    clearFlightData();
    clearEventList();
    parseXml();
}

void CBlackbox::clearEventList() { m_events.clear(); }

void CBlackbox::clearFlightData() { m_flightData.clear(); }

}  // namespace Blackbox
