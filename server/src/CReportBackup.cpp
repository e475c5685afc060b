// Uploading the report, or keeping it in the report file sealed by a code
// until a later upload; the base64 of the pilot's comment.

#include <algorithm>
#include <atomic>
#include <boost/format.hpp>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CDigest.h"
#include "CFlightSimulatorInterface.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CReport.h"

namespace {

const char* const kSection = "report";
const char* const kRecordSection = "Report";
const char* const kBackupKey = "Backup";
const char* const kCodeKey = "Code";
// The digest of a backup whose report file may or may not have reached the
// disk yet; see createBackup. The whole digest, not the 3-character code: the
// code takes only a few thousand values, so an older file would pass for the
// new one now and then.
const char* const kPendingCodeKey = "PendingCode";
// The settings' code is read into 5 bytes: at most 4 characters.
constexpr std::size_t kCodeReadBytes = 5;
// The pending digest: 32 hexadecimal digits, and room to tell a longer text.
constexpr std::size_t kPendingReadBytes = 40;

std::string digestOf(const std::string& fileText) {
    return CClientInterface::md5Hex(fileText.data(), fileText.size());
}

std::atomic<CReport::BackupStepHook> g_backupStepHook{nullptr};

void backupStepDone(int step) {
    if (CReport::BackupStepHook hook = g_backupStepHook.load()) {
        hook(step);
    }
}

std::string penaltyKey(int slot) { return "struct_penalty" + std::to_string(slot); }

bool isBase64Character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/';
}

}  // namespace

void CReport::setBackupStepHookForTests(BackupStepHook hook) { g_backupStepHook.store(hook); }

int CReport::writeReport(bool manual) {
    if (m_pClient == nullptr) {
        m_pLogger->error("writeReport without client interface");
        return 0;
    }
    if (!m_pClient->isConnected()) {
        m_pLogger->warn("Not able to upload Report! No Connection to Database!");
        createBackup();
        return 0;
    }
    if (m_pClient->writeReport(manual) == 1) {
        // The website files the entries and events under the report id it
        // just gave; they follow on a thread of their own.
        uploadAfterReport();
        m_pLogger->debug("Report uploaded successfully.");
        return 1;
    }
    m_pLogger->warn("Not able to upload Report! (writeReport() failed)");
    createBackup();
    return 0;
}

// Two files make one backup, so a crash between their saves must not leave a
// report file that the settings' code does not seal. The code is known
// before anything is written (it is the code of the bytes about to be saved)
// and is announced as pending first; once the report file is on disk the
// pending code becomes the backup's code. A crash after the announcement
// leaves either the previous report file (the pending code does not match
// it and is dropped) or the new one (the pending code matches and
// isBackupReport completes the sealing).
int CReport::createBackup() {
    if (m_pClient == nullptr || m_pSimulator == nullptr) {
        m_pLogger->error("createBackup without simulator or client interface");
        return 0;
    }
    CIniParser* ini = CIniParser::instance();
    CClientInterface& client = *m_pClient;
    // A second failure replaces the first backup whole; no key of a longer
    // earlier backup stays behind.
    ini->resetBackupFile();
    client.m_log.backup();
    (m_bHaveAircraftBeforeReport ? m_aircraftBeforeReport : client.m_aircraft).backup();
    client.m_pilot.backup();
    client.m_virtualAirline.backup();
    client.m_route.backup();
    client.m_report.backup();
    m_pSimulator->m_aircraftData.backup();
    writePenaltySlots();
    client.m_aircraftType.backup();
    backupPositionLogs();
    if (m_pBlackbox != nullptr) {
        m_pBlackbox->backup();
    }

    const std::string fileText = ini->getReportFileText();
    if (fileText.empty()) {
        m_pLogger->error("Report-Backup could not be created: the report file cannot be formatted");
        return 0;
    }
    return sealBackup(fileText);
}

int CReport::sealBackup(const std::string& fileText) {
    CIniParser* ini = CIniParser::instance();
    const std::string code = backupCodeOf(fileText);
    ini->writeStringToConfig(kSection, kPendingCodeKey, digestOf(fileText));
    if (!ini->saveConfigFile()) {
        ini->writeStringToConfig(kSection, kPendingCodeKey, "0");
        return keepUnsavedBackup(fileText);
    }
    backupStepDone(1);
    if (!ini->saveReportFile()) {
        ini->writeStringToConfig(kSection, kPendingCodeKey, "0");
        ini->saveConfigFile();
        return keepUnsavedBackup(fileText);
    }
    m_unsavedBackup.clear();
    backupStepDone(2);
    ini->writeStringToConfig(kSection, kBackupKey, "1");
    std::snprintf(m_backupCode, sizeof(m_backupCode), "%s", calcBackupCode().c_str());
    if (code != m_backupCode) {
        // Someone else wrote the file between the save and the read.
        m_pLogger->error("Report-Backup changed on disk while it was sealed");
    }
    ini->writeStringToConfig(kSection, kCodeKey, m_backupCode);
    ini->writeStringToConfig(kSection, kPendingCodeKey, "0");
    if (!ini->saveConfigFile()) {
        return 0;
    }
    backupStepDone(3);
    m_pLogger->debug("Report-Backup has been created.");
    return 1;
}

int CReport::saveHeldBackup() {
    if (m_unsavedBackup.empty()) {
        return 1;
    }
    // Copied: a failure keeps the text again.
    const std::string fileText = m_unsavedBackup;
    if (!CIniParser::instance()->loadReportText(fileText)) {
        return 0;
    }
    if (sealBackup(fileText) != 1) {
        return 0;
    }
    m_pLogger->debug("The report held in memory is saved now.");
    return 1;
}

void CReport::reloadReportStore() {
    CIniParser* ini = CIniParser::instance();
    ini->loadReportText(ini->readReportFileFromDisk());
}

int CReport::keepUnsavedBackup(const std::string& fileText) {
    m_unsavedBackup = fileText;
    // No later save of the settings may write this report unsealed over the
    // file on disk: the store holds that file again.
    reloadReportStore();
    const std::string fileName = CIniParser::instance()->getBackupReportFilename();
    m_pLogger->error("Report-Backup could not be saved to " + fileName +
                     "! The report stays in memory: upload it, or save it with \"Retry\", "
                     "from the window before X-Plane quits, or it is lost");
    CLogger::support("report", "a flight report could not be saved to " + fileName +
                                   "; it stays uploadable from the window until X-Plane quits");
    return 0;
}

std::string CReport::backupCodeOf(const std::string& fileText) {
    const std::string digest = CClientInterface::md5Hex(fileText.data(), fileText.size());
    char a[3] = {0};
    char b[3] = {0};
    std::snprintf(a, sizeof(a), "%X", static_cast<unsigned>(static_cast<unsigned char>(digest[3])));
    std::snprintf(b, sizeof(b), "%X",
                  static_cast<unsigned>(static_cast<unsigned char>(digest[10])));
    std::string code{b[1], a[0], b[0]};
    for (char& c : code) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return code;
}

std::string CReport::calcBackupCode() {
    const std::string code = backupCodeOf(CIniParser::instance()->readReportFileFromDisk());
    std::snprintf(m_backupCode, sizeof(m_backupCode), "%s", code.c_str());
    return code;
}

bool CReport::checkBackupCode() {
    return sealMatches(CIniParser::instance()->readReportFileFromDisk());
}

bool CReport::sealMatches(const std::string& fileText) {
    char stored[kCodeReadBytes] = {0};
    CIniParser::instance()->getStringFromConfig(kSection, kCodeKey, stored, sizeof(stored));
    const std::string code = backupCodeOf(fileText);
    std::snprintf(m_backupCode, sizeof(m_backupCode), "%s", code.c_str());
    return code == stored;
}

bool CReport::finishInterruptedBackup() {
    CIniParser* ini = CIniParser::instance();
    char pending[kPendingReadBytes] = {0};
    ini->getStringFromConfig(kSection, kPendingCodeKey, pending, sizeof(pending));
    if (pending[0] == '\0' || std::strcmp(pending, "0") == 0) {
        return false;
    }
    const std::string fileText = ini->readReportFileFromDisk();
    const bool sealed = digestOf(fileText) == pending;
    if (sealed) {
        std::snprintf(m_backupCode, sizeof(m_backupCode), "%s", backupCodeOf(fileText).c_str());
        ini->writeStringToConfig(kSection, kBackupKey, "1");
        ini->writeStringToConfig(kSection, kCodeKey, m_backupCode);
        m_pLogger->warn("Report-Backup sealing was interrupted; the new backup is complete");
    } else {
        m_pLogger->warn("Report-Backup sealing was interrupted; the previous backup is kept");
    }
    ini->writeStringToConfig(kSection, kPendingCodeKey, "0");
    ini->saveConfigFile();
    return sealed;
}

bool CReport::isBackupReport() {
    finishInterruptedBackup();
    return !m_unsavedBackup.empty() ||
           CIniParser::instance()->getBoolFromConfig(kSection, kBackupKey);
}

int CReport::loadBackup() {
    CIniParser* ini = CIniParser::instance();
    if (!m_unsavedBackup.empty()) {
        // Never on disk, so nobody could edit it: there is no code to check.
        if (!ini->loadReportText(m_unsavedBackup)) {
            return 0;
        }
        const int restored = restoreBackup();
        reloadReportStore();
        return restored;
    }
    // The file is read once, and the bytes whose seal is checked are the
    // bytes loaded: a file changed after the check brings no values in.
    const std::string fileText = ini->readReportFileFromDisk();
    if (!sealMatches(fileText)) {
        m_pLogger->warn("Report-Backup could not be loaded. Wrong code!");
        return 0;
    }
    if (!ini->loadReportText(fileText)) {
        return 0;
    }
    return restoreBackup();
}

int CReport::restoreBackup() {
    if (m_pClient == nullptr || m_pSimulator == nullptr) {
        m_pLogger->error("loadBackup without simulator or client interface");
        return 0;
    }
    CClientInterface& client = *m_pClient;
    client.m_log.load();
    client.m_aircraft.load();
    client.m_virtualAirline.load();
    client.m_route.load();
    client.m_report.load();
    m_pSimulator->m_aircraftData.load();
    readPenaltySlots();
    client.m_aircraftType.load();
    loadPositionLogs();
    if (m_pBlackbox != nullptr) {
        m_pBlackbox->loadBackup();
    }

    createReport();
    m_pLogger->debug("Critical Backup Data: Tarvex_Pilots.ID=" + recordText(client.m_pilot.ID));
    m_pLogger->debug("Critical Backup Data: Tarvex_Reports.Pilot_ID=" +
                     recordText(client.m_report.Pilot_ID));
    m_pLogger->debug("Report-Backup has been loaded.");
    return 1;
}

int CReport::deleteBackup() {
    m_unsavedBackup.clear();
    CIniParser* ini = CIniParser::instance();
    ini->writeStringToConfig(kSection, kBackupKey, "0");
    ini->writeStringToConfig(kSection, kCodeKey, "0");
    ini->writeStringToConfig(kSection, kPendingCodeKey, "0");
    ini->resetBackupFile();
    // The mark goes first: a crash in between leaves an unmarked file, never
    // a marked empty one.
    ini->saveFiles();
    return 1;
}

void CReport::writePenaltySlots() const {
    for (int slot = 0; slot < kNumPenaltySlots; ++slot) {
        CIniParser::instance()->writeStructToReport(kRecordSection, penaltyKey(slot),
                                                    &m_penalties[slot], sizeof(m_penalties[slot]));
    }
}

void CReport::readPenaltySlots() {
    for (int slot = 0; slot < kNumPenaltySlots; ++slot) {
        CIniParser::instance()->getStructFromReport(kRecordSection, penaltyKey(slot),
                                                    &m_penalties[slot], sizeof(m_penalties[slot]));
        // A text that filled its field on disk stays terminated here.
        m_penalties[slot].text[sizeof(m_penalties[slot].text) - 1] = '\0';
    }
}

void CReport::backupPositionLogs() {
    CIniParser* ini = CIniParser::instance();
    ini->writeStringToReport(kSection, "numpositionlogs",
                             std::to_string(m_failedPositionLogs.size()));
    for (std::size_t entry = 0; entry < m_failedPositionLogs.size(); ++entry) {
        ini->writeStructToReport(kSection, "positiondata" + std::to_string(entry),
                                 &m_failedPositionLogs[entry], sizeof(tquelby_position_logs));
    }
}

void CReport::loadPositionLogs() {
    CIniParser* ini = CIniParser::instance();
    const int count = ini->getIntFromReport(kSection, "numpositionlogs");
    m_failedPositionLogs.clear();
    for (int entry = 0; entry < count; ++entry) {
        const std::string key = "positiondata" + std::to_string(entry);
        char probe[4] = {0};
        if (!ini->getStringFromReport(kSection, key, probe, sizeof(probe)) || probe[0] == '\0') {
            m_pLogger->warn(
                (boost::format("Report-Backup holds %d position entries, not %d") % entry % count)
                    .str());
            break;
        }
        tquelby_position_logs position{};
        ini->getStructFromReport(kSection, key, &position, sizeof(position));
        m_failedPositionLogs.push_back(position);
    }
}

std::string CReport::base64_encode(const std::string& source, int limit) {
    if (limit <= 0 || source.empty()) {
        return std::string();
    }
    // A group of three bytes is begun only while the output is below the
    // limit, and a group once begun is written whole.
    const std::size_t groups = (static_cast<std::size_t>(limit) + 3) / 4;
    const std::size_t bytes = std::min(source.size(), groups * 3);
    return CDigest::base64Encode(source.data(), bytes);
}

std::string CReport::base64_decode(const std::string& source, int limit) {
    if (limit <= 0) {
        return std::string();
    }
    std::size_t length = 0;
    while (length < source.size() && isBase64Character(source[length])) {
        ++length;
    }
    // A lone last character carries fewer than eight bits: no byte.
    const std::size_t rest = length % 4;
    const std::size_t decodedBytes = length / 4 * 3 + (rest == 2 ? 1 : rest == 3 ? 2 : 0);
    std::string padded = source.substr(0, length - (rest == 1 ? 1 : 0));
    padded.append((4 - padded.size() % 4) % 4, '=');
    std::string out;
    if (!CDigest::base64Decode(padded, out)) {
        return std::string();
    }
    out.resize(std::min(decodedBytes, static_cast<std::size_t>(limit)));
    return out;
}
