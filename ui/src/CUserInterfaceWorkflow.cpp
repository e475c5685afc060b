// The flight workflow: every button press and hot-key event becomes a step of
// the pilot's way from login through fuelling and the flight to the report.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

#include "CBlackbox.h"
#include "CCheatDetector.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CFlightState.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CReport.h"
#include "CSound.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "QuelbyVersion.h"

namespace {

enum ButtonId {
    kExit = 0,
    kExitKey = 2,
    kLogin = 3,
    kHome = 4,
    kOptions = 5,
    kFlightInformation = 6,
    kFly = 8,
    kEndFlight = 9,
    kNext = 10,
    kSaveChanges = 11,
    kSoundKey1 = 12,
    kSoundKey2 = 13,
    kDivert = 14,
    kFuelUp = 15,
    kLoadInitialFuel = 16,
    kBackConfirm = 17,
    kBackFuel = 18,
    kUpdateNow = 19,
    kAbortDownload = 20,
    kShowSavedReport = 21,
    kUploadSavedReport = 22,
    kDeleteSavedReport = 23,
    kChangePassengers = 24,
    kChangeCargo = 25,
    kChangeFuel = 26,
    kLandingLights = 27,
    kRetrySave = CUserInterface::kRetrySaveButton,
    kUserField = 101,
    kPasswordField = 102,
    kAdditionalFuelField = 114,
    kCommentField = 115,
    kAutoLoginBox = 201,
    kTrackerBox = 202,
    kFsMessagesBox = 203,
    kSimpleFuelBox = 204,
    kSoundBox = 205,
    kExitMenuKey = 32783,
    kIgnoredKey = 32785,
};

// Interface sounds.
constexpr unsigned int kSoundDisabled = 1;
constexpr unsigned int kSoundError = 2;

constexpr int kPenaltyWrongAirport = 1;
constexpr int kPenaltyParkingBrake = 4;
constexpr int kPhaseOnBlock = 4;
constexpr int kCommentBytes = 1024;

std::string flag(bool value) { return value ? "1" : "0"; }

std::string simulatorVersionWord(int version) {
    switch (version) {
        case 6:
            return "FS2002";
        case 7:
            return "FS2004";
        case 8:
            return "FSX";
        case 10:
            return "XP9";
        default:
            return "Unknown";
    }
}

}  // namespace

int CUserInterface::passengers() const { return recordInt(m_pClient->m_log.Passengers); }

int CUserInterface::cargoKg() const { return recordInt(m_pClient->m_log.Cargo); }

int CUserInterface::getInitialFuelKg() const {
    return m_pClient != nullptr ? m_pClient->m_aircraft.Fuel : 0;
}

long CUserInterface::getFlightSeconds() const {
    if (!m_bFlightStarted || m_pSimulator == nullptr) {
        return 0;
    }
    return static_cast<long>(m_pSimulator->m_aircraftData.dFlightTimeS - m_flightStartS);
}

void CUserInterface::playSound(unsigned int id) {
    if (m_pSound != nullptr) {
        m_pSound->play(id);
    }
}

int CUserInterface::countActivePenalties() const {
    int count = 0;
    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        const struct_penalty* penalty = m_pReport->getPenalty(slot);
        if (penalty != nullptr && penalty->active == 1) {
            ++count;
        }
    }
    return count;
}

void CUserInterface::resetAllClasses() {
    if (m_pReport != nullptr) {
        m_pReport->resetCReport();
    }
    if (m_pSimulator != nullptr) {
        m_pSimulator->resetFlightTimer();
        m_pSimulator->m_aircraftData.reset();
    }
    if (m_pBlackbox != nullptr) {
        m_pBlackbox->reset();
    }
    if (m_pFlightState != nullptr) {
        m_pFlightState->set(0);
    }
    m_bFlightStarted = false;
}

void CUserInterface::finish() {
    resetAllClasses();
    setMenuLayer(kLayerLogin);
    buttonEvent(kLogin);
}

void CUserInterface::getConfig() {
    CIniParser& ini = *CIniParser::instance();
    char user[31] = {0};
    char password[31] = {0};
    ini.getStringFromConfig("login", "User", user, sizeof(user));
    ini.getStringFromConfig("login", "Password", password, sizeof(password));
    m_bAutoLogin = ini.getBoolFromConfig("settings", "AutoLogin");
    m_bTracker = ini.getStdTrueBoolFromConfig("settings", "Tracker");
    m_bFsMessages = ini.getBoolFromConfig("settings", "FSMessages");
    m_bSimpleFuel = ini.getBoolFromConfig("settings", "SimpleFuel");
    m_bSound = ini.getBoolFromConfig("settings", "Sound");
    {
        const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
        m_objectManager.setText(kUserField, user);
        m_objectManager.setText(kPasswordField, password);
        m_objectManager.setCheckBox(kAutoLoginBox, m_bAutoLogin);
        m_objectManager.setCheckBox(kTrackerBox, m_bTracker);
        m_objectManager.setCheckBox(kFsMessagesBox, m_bFsMessages);
        m_objectManager.setCheckBox(kSimpleFuelBox, m_bSimpleFuel);
        m_objectManager.setCheckBox(kSoundBox, m_bSound);
    }
    if (m_pSound != nullptr) {
        m_bSound ? m_pSound->enable() : m_pSound->disable();
    }
    if (m_pReport != nullptr) {
        m_pReport->setTracker(m_bTracker);
    }
    if (m_pSimulator != nullptr) {
        m_pSimulator->enableTextMessages(m_bFsMessages);
    }
    logger().debug("Settings loaded: autologin=" + flag(m_bAutoLogin) +
                   " tracker=" + flag(m_bTracker) + " fsmessages=" + flag(m_bFsMessages) +
                   " simple=" + flag(m_bSimpleFuel));
}

void CUserInterface::buttonEvent(int id) {
    CUserInterfaceObject* object = m_objectManager.getObjectWithId(id);
    logger().debug(std::string("Button clicked: ") +
                   (object != nullptr ? object->getCaption() : "") + " (ID=" + std::to_string(id) +
                   ")");
    if (m_pClient == nullptr || m_pSimulator == nullptr || m_pReport == nullptr) {
        logger().warn("Button " + std::to_string(id) + " ignored: the client is not ready");
        return;
    }
    switch (id) {
        case kLogin:
            login();
            break;
        case kHome:
            repaintTextarea();
            setMenuLayer(kLayerHome);
            break;
        case kOptions:
            repaintTextarea();
            setMenuLayer(kLayerOptions);
            break;
        case kFlightInformation:
            m_pClient->readRoute();
            if (!m_pSimulator->isRunning()) {
                m_pSimulator->connect();
            }
            setMenuLayer(kLayerFlightInfo);
            break;
        case kSaveChanges:
            saveOptions();
            break;
        case kFly:
            fly();
            break;
        case kFuelUp:
            fuelUp();
            break;
        case kChangePassengers:
        case kChangeCargo:
        case kChangeFuel:
            changeLoad(id);
            break;
        case kLoadInitialFuel:
            m_pSimulator->setStandardFuel(getInitialFuelKg());
            setFuelEditBox(false, false);
            if (m_bFuelScreenActive) {
                repaint();
            }
            break;
        case kBackConfirm:
        case kBackFuel:
            if (getLayer() == kLayerFuelTanks || getLayer() == kLayerFuelSimple) {
                setMenuLayer(kLayerHome);
            } else {
                setMenuLayer(m_bSimpleFuel ? kLayerFuelSimple : kLayerFuelTanks);
            }
            break;
        case kDivert:
            m_pSimulator->m_aircraftData.bEmergency = true;
            m_pClient->m_report.EmergencyLanding = 1;
            m_pSimulator->displayText("Emergency - you can now land at any airport!", kTextSeconds,
                                      false);
            m_objectManager.show(kDivert, false);
            break;
        case kEndFlight:
            if (getLayer() == kLayerFlying) {
                endFlight();
            } else if (getLayer() == kLayerComment) {
                submitReport();
            }
            break;
        case kNext:
            next();
            break;
        case kShowSavedReport:
            if (m_pReport->loadBackup() == 1) {
                setMenuLayer(kLayerReportRoute);
            }
            break;
        case kUploadSavedReport:
            uploadSavedReport();
            break;
        case kDeleteSavedReport:
            if (m_pReport->deleteBackup() == 1) {
                finish();
            }
            break;
        case kRetrySave:
            retrySavingReport();
            break;
        case kUpdateNow:
            setMenuLayer(kLayerUpdate);
            break;
        case kAbortDownload:
            buttonEvent(kLogin);
            break;
        case kExit:
        case kExitKey:
        case kExitMenuKey:
            exitFlight();
            break;
        case kLandingLights:
            m_pSimulator->toggleLandingLights();
            break;
        case kSoundKey1:
        case kSoundKey2:
            playSound(kSoundDisabled);
            break;
        case kIgnoredKey:
            break;
        default:
            if (id < 201 || id > 209) {
                logger().warn("Button with ID " + std::to_string(id) + " not found!");
            }
            break;
    }
}

void CUserInterface::login() {
    // A report held in memory is tried again at each login, but not at the
    // one that follows right after it could not be saved.
    if (m_bReportJustHeld) {
        m_bReportJustHeld = false;
    } else {
        m_pReport->saveHeldBackup();
    }
    CUserInterfaceObject* loginButton = m_objectManager.getObjectWithId(kLogin);
    if (!m_pClient->isConnected()) {
        logger().debug("Could not log in. No connection to the database.");
        CLogger::support("website", "no answer from the website " + m_pClient->getHost() +
                                        " at login; logging in and flying wait until it answers");
        m_loginNotice = "No connection to the website.";
        if (loginButton != nullptr) loginButton->setStyle(1);
        repaint();
        playSound(kSoundError);
        MessageBox(nullptr,
                   "It looks like you are either not connected to the internet or\nour homepage "
                   "is currently down!",
                   "Connection failed!", kWarningBox);
        return;
    }
    // Compared with the terminating zero, so "v2.0.10b1" is another version.
    const std::size_t versionBytes = std::strlen(kClientVersion) + 1;
    if (std::memcmp(kClientVersion, m_pClient->m_versions[0], versionBytes) != 0 &&
        std::memcmp(kClientVersion, m_pClient->m_versions[1], versionBytes) != 0) {
        logger().debug(std::string("Wrong client version! Used: ") + kClientVersion +
                       " Current:" + m_pClient->m_versions[0]);
        m_loginNotice = "This client is out of date: an update is needed.";
        setMenuLayer(kLayerWrongVersion);
        return;
    }
    std::string user;
    std::string password;
    bool read = false;
    {
        const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
        read = m_objectManager.readText(kUserField, user) &&
               m_objectManager.readText(kPasswordField, password);
    }
    if (!read) {
        // The plug-in is stopping: an unread field is no empty login.
        logger().warn("Login not tried: the login fields could not be read");
        return;
    }
    const std::string digest = CClientInterface::md5Hex(password.data(), password.size());
    m_pClient->setLoginData(user.c_str(), digest.c_str());
    if (m_pClient->readPilot() != CClientInterface::kSuccess) {
        logger().debug("Could not log in. Wrong username or password. (" + user + ")");
        m_loginNotice = "Wrong user name or password.";
        if (loginButton != nullptr) loginButton->setStyle(1);
        repaint();
        playSound(kSoundError);
        return;
    }
    if (loginButton != nullptr) loginButton->setStyle(0);
    m_loginNotice.clear();
    m_clientNotice.clear();
    m_clientNoticeMore.clear();
    repaint();
    m_bLoggedIn = true;
    m_pSimulator->connect();
    m_pClient->readNews();
    CIniParser& ini = *CIniParser::instance();
    ini.writeStringToConfig("login", "User", user);
    // Only the digest travels; the settings keep what the pilot typed, for
    // the next automatic login.
    ini.writeStringToConfig("login", "Password", password);
    ini.saveConfigFile();
    m_units.setWeightUnit(std::memcmp(m_pClient->m_pilot.WeightUnit, "lbs", 4) == 0 ? 1 : 0);
    setMenuLayer(m_pReport->isBackupReport() ? kLayerSavedReport : kLayerHome);
    repaint();
    // The website answers again: what followed an earlier report and did
    // not get through goes up now, on a thread of its own.
    m_pReport->resumePendingUploads();
}

void CUserInterface::saveOptions() {
    // Only boxes actually read change an option: one that could not be read
    // (the plug-in is stopping) keeps its setting, never turns "off".
    bool allRead = true;
    {
        const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
        const std::pair<int, bool*> options[] = {{kAutoLoginBox, &m_bAutoLogin},
                                                 {kTrackerBox, &m_bTracker},
                                                 {kFsMessagesBox, &m_bFsMessages},
                                                 {kSimpleFuelBox, &m_bSimpleFuel},
                                                 {kSoundBox, &m_bSound}};
        for (const auto& [box, option] : options) {
            allRead = m_objectManager.readCheckBox(box, *option) && allRead;
        }
    }
    if (!allRead) {
        logger().warn("Options not all read from the window; those unread keep their settings");
    }
    if (m_pSound != nullptr) {
        m_bSound ? m_pSound->enable() : m_pSound->disable();
    }
    m_pSimulator->enableTextMessages(m_bFsMessages);
    m_pReport->setTracker(m_bTracker);
    CIniParser& ini = *CIniParser::instance();
    ini.writeStringToConfig("settings", "AutoLogin", flag(m_bAutoLogin));
    ini.writeStringToConfig("settings", "Tracker", flag(m_bTracker));
    ini.writeStringToConfig("settings", "FSMessages", flag(m_bFsMessages));
    ini.writeStringToConfig("settings", "SimpleFuel", flag(m_bSimpleFuel));
    ini.writeStringToConfig("settings", "Sound", flag(m_bSound));
    ini.saveFiles();
    logger().debug("Settings saved: autologin=" + flag(m_bAutoLogin) +
                   " tracker=" + flag(m_bTracker) + " fsmessages=" + flag(m_bFsMessages) +
                   " simple=" + flag(m_bSimpleFuel));
    setMenuLayer(kLayerHome);
}

void CUserInterface::fly() {
    const bool ready = m_pSimulator->connect();
    const bool booked = m_pClient->readRoute() == CClientInterface::kSuccess &&
                        recordInt(m_pClient->m_route.ID) > 0;
    if (!m_pSimulator->checkInterfaceVersion()) {
        setMenuLayer(kLayerChecklist);
        return;
    }
    if (!ready || !booked) {
        logger().debug("Could not start flight! (Flight Simulator=" + flag(ready) +
                       " Flight booked=" + flag(booked) + ")");
        setMenuLayer(kLayerChecklist);
        return;
    }
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    m_pSimulator->getEverything();
    m_pClient->readClosestAirport(data.dLongitude, data.dLatitude);
    std::memcpy(data.closestAirport, m_pClient->m_closestAirport, sizeof(data.closestAirport));
    data.closestAirport[sizeof(data.closestAirport) - 1] = '\0';
    const std::string departure = recordText(m_pClient->m_route.Dep);
    if (departure != data.closestAirport) {
        // The log line has no closing parenthesis; log readers search for it as it is.
        logger().debug("Could not start flight! Airports not matching. (Expected=" + departure +
                       " Current=" + data.closestAirport);
        setMenuLayer(kLayerChecklist);
        return;
    }
    const int typeCheck = m_pSimulator->checkAircraftType();
    if (typeCheck >= 1) {
        logger().debug("Could not start flight! Aircraft type does not match. (" +
                       std::to_string(typeCheck) + ")");
        setMenuLayer(kLayerChecklist);
        return;
    }
    if (getLayer() != kLayerConfirmFlight) {
        data.nCargoKg = recordInt(m_pClient->m_log.Cargo);
        data.nPassengers = recordInt(m_pClient->m_log.Passengers);
        m_pClient->readFuelPrice(departure.c_str());
        m_bInitialFuelLoaded = false;
        m_pSimulator->setMenuRestrictions();
        setMenuLayer(m_bSimpleFuel ? kLayerFuelSimple : kLayerFuelTanks);
        return;
    }
    startFlight();
}

void CUserInterface::startFlight() {
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    m_pSimulator->setAircraftTanks();
    m_pSimulator->getAircraftTanks();
    m_pSimulator->getZuluTime();
    // The touchdown is measured from this flight's readings only.
    m_pSimulator->m_verticalSpeedHistory.clear();
    m_failureManager.init(m_pClient, m_pSimulator, m_pBlackbox);
    if (m_pBlackbox != nullptr) {
        m_pBlackbox->init();
    }
    data.nFuelDepartureKg = m_pSimulator->getTotalFuelKg();
    data.dLastCheckedLatitude = data.dLatitude;
    data.dLastCheckedLongitude = data.dLongitude;
    if (m_pCheatDetector != nullptr) {
        m_pCheatDetector->startFlight();
    }
    char status[64];
    std::snprintf(status, sizeof(status), "Flight started! (Tracker: %d)", m_bTracker ? 1 : 0);
    m_statusLine = status;
    logger().debug(m_statusLine);
    // The flight's own clock starts here; the failures count from it.
    m_flightStartS = data.dFlightTimeS;
    m_bFlightStarted = true;
    m_pClient->m_report.DepartureTime = data.dFlightTimeS;
    data.bEmergency = false;
    m_pReport->resetPositionLog();
    m_pReport->uploadPositionLog();
    setMenuLayer(kLayerFlying);
}

void CUserInterface::fuelUp() {
    if (!readEnteredFuel()) {
        // The fuel screen stays, with the reason under the fields.
        playSound(kSoundError);
        return;
    }
    loadPlannedFuel();
    setMenuLayer(kLayerConfirmFlight);
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    if (m_pSimulator->getOverweight() < 1) {
        m_objectManager.disable(kChangePassengers);
        m_objectManager.disable(kChangeCargo);
        m_objectManager.disable(kChangeFuel);
        return;
    }
    m_objectManager.show(kFly, false);
    (recordInt(m_pClient->m_log.Passengers) != 0) ? m_objectManager.enable(kChangePassengers)
                                                  : m_objectManager.disable(kChangePassengers);
    (recordInt(m_pClient->m_log.Cargo) != 0) ? m_objectManager.enable(kChangeCargo)
                                             : m_objectManager.disable(kChangeCargo);
    m_objectManager.enable(kChangeFuel);
}

void CUserInterface::loadPlannedFuel() {
    m_nFuelLoadedKg = m_pSimulator->getTotalFuelKg();
    m_pSimulator->setAircraftTanks();
    m_pSimulator->getAircraftTanks();
    std::copy(std::begin(m_pSimulator->m_tankQuantityKg.tank),
              std::end(m_pSimulator->m_tankQuantityKg.tank), m_fuelledTanksKg.begin());
}

void CUserInterface::changeLoad(int id) {
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    const int payloadKg = m_pClient->m_aircraftType.MTOW - m_pClient->m_aircraftType.DOW;
    const int fuelKg = m_pSimulator->getTotalFuelKg();
    const int passengerCount = passengers();
    const int cargo = cargoKg();
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    if (id == kChangePassengers) {
        const int rest = payloadKg - cargo - fuelKg;
        if (rest < 1) {
            setRecordText(m_pClient->m_log.Passengers, "0");
            data.nPassengers = 0;
            m_objectManager.show(kChangePassengers, false);
        } else {
            const int fitting = rest / kPassengerKg;
            setRecordText(m_pClient->m_log.Passengers, std::to_string(fitting));
            data.nPassengers = fitting;
            m_objectManager.show(kFly, true);
            m_objectManager.show(kChangePassengers, false);
            m_objectManager.show(kChangeCargo, false);
            m_objectManager.show(kChangeFuel, false);
        }
        repaint();
        return;
    }
    if (id == kChangeCargo) {
        const int rest = payloadKg - passengerCount * kPassengerKg - fuelKg;
        if (rest < 1) {
            setRecordText(m_pClient->m_log.Cargo, "0");
            m_objectManager.show(kChangeCargo, false);
            data.nCargoKg = 0;
        } else {
            setRecordText(m_pClient->m_log.Cargo, std::to_string(rest));
            data.nCargoKg = rest;
            m_objectManager.show(kFly, true);
            m_objectManager.show(kChangePassengers, false);
            m_objectManager.show(kChangeCargo, false);
            m_objectManager.show(kChangeFuel, false);
        }
        repaint();
        return;
    }
    if (!m_bSimpleFuel) {
        setMenuLayer(kLayerFuelTanks);
        return;
    }
    const int rest = payloadKg - passengerCount * kPassengerKg - cargo;
    const int initialKg = getInitialFuelKg();
    if (rest > 0 && rest > initialKg) {
        // The aircraft gets the fuel that fits now: "Fly!" is offered next.
        m_pSimulator->setStandardFuel(rest);
        loadPlannedFuel();
        // The field is read in the pilot's unit.
        m_objectManager.setText(kAdditionalFuelField,
                                std::to_string(m_units.getWeight(rest - initialKg)).c_str());
        m_objectManager.show(kFly, true);
        m_objectManager.show(kChangePassengers, false);
        m_objectManager.show(kChangeCargo, false);
        m_objectManager.show(kChangeFuel, false);
        repaint();
    } else {
        m_objectManager.setText(kAdditionalFuelField, "");
        setMenuLayer(kLayerFuelSimple);
    }
}

void CUserInterface::endFlight() {
    closeFlight();
    setMenuLayer(kLayerComment);
}

void CUserInterface::clientFailed(const std::string& why) {
    logger().error("The client stopped: " + why);
    const int layer = getLayer();
    // Under way: flying, or landed and not yet reported. On the report pages
    // the report is already uploaded or kept.
    const bool underWay = m_bFlightStarted && m_pReport != nullptr && m_pClient != nullptr &&
                          m_pSimulator != nullptr && m_pFlightState != nullptr &&
                          (layer == kLayerFlying || layer == kLayerComment);
    bool kept = false;
    if (underWay) {
        try {
            if (layer == kLayerFlying) {
                closeFlight();
            }
            m_pReport->createReport();
            // Saved, or held in memory for the client made again.
            kept = m_pReport->createBackup() == 1 || m_pReport->isBackupHeldInMemory();
        } catch (const std::exception& e) {
            logger().error(std::string("The flight's report could not be kept: ") + e.what());
        } catch (...) {
            logger().error("The flight's report could not be kept");
        }
        if (kept) {
            logger().warn("The flight's report is kept for upload after the next login");
        }
    }
    m_clientNotice = "The client stopped: " + why.substr(0, kClientNoticeWhyChars);
    m_clientNoticeMore = std::string("It started again") +
                         (kept ? "; the flight's report is kept." : underWay ? "; the flight is lost." : ".");
    m_bFlightStarted = false;
    m_bLoggedIn = false;
    try {
        resetAllClasses();
        setMenuLayer(kLayerLogin);
    } catch (...) {
        // The subsystems are made again next; the screen follows then.
    }
}

void CUserInterface::closeFlight() {
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    m_pFlightState->set(kPhaseOnBlock);
    m_pSimulator->getEverything();
    m_pSimulator->getNearestAirport();
    m_pSimulator->getAircraftTanks();
    m_pSimulator->getZuluTime();
    if (!data.bParkingBrake) {
        m_pReport->addPenalty(kPenaltyParkingBrake);
    }
    if (recordText(m_pClient->m_route.Arr) != data.closestAirport && !data.bEmergency) {
        m_pReport->addPenalty(kPenaltyWrongAirport);
    }
    data.nFuelLandingKg = m_pSimulator->getTotalFuelKg();
    m_pClient->m_aircraft.FuelAfter = data.nFuelLandingKg;
    setRecordText(m_pClient->m_report.Interface, m_pSimulator->getInterfaceName());
    setRecordText(m_pClient->m_report.SimVersion,
                  simulatorVersionWord(m_pSimulator->getFlightSimulatorVersion()));
    m_pClient->readTimestamp();
    m_pReport->uploadPositionLog();
}

void CUserInterface::submitReport() {
    std::string comment;
    if (m_objectManager.readText(kCommentField, comment)) {
        setRecordText(m_pClient->m_report.Comment64,
                      CReport::base64_encode(comment, kCommentBytes - 1));
    } else {
        // The window is going (the plug-in stops): the report keeps the
        // comment it had rather than an empty one.
        logger().warn("Comment not read from the window; the report keeps the one it had");
    }
    m_pReport->createReport();
    if (m_pReport->writeReport(false) == 1) {
        setMenuLayer(kLayerReportRoute);
        return;
    }
    // The report is kept; the login offers it again.
    m_bReportJustHeld = m_pReport->isBackupHeldInMemory();
    setMenuLayer(kLayerLogin);
    buttonEvent(kLogin);
}

void CUserInterface::next() {
    const int layer = getLayer();
    if (layer == kLayerComment) {
        submitReport();
        return;
    }
    const int penalties = countActivePenalties();
    switch (layer) {
        case kLayerReportRoute:
            setMenuLayer(kLayerReportFinances);
            break;
        case kLayerReportFinances:
            if (penalties > 0) {
                setMenuLayer(kLayerReportPenalties);
            } else {
                finish();
            }
            break;
        case kLayerReportPenalties:
            finish();
            break;
        default:
            if (penalties == 0) {
                finish();
            }
            break;
    }
}

void CUserInterface::uploadSavedReport() {
    setMenuLayer(kLayerSavedReport);
    if (m_pReport->loadBackup() != 1) {
        logger().warn(
            "Backed up report could not be uploaded. Report has been illegally modified.");
        MessageBox(nullptr,
                   "It looks like the saved report has been illegally modified.\nThe report was "
                   "not uploaded! \n",
                   "Report has been modified!", kWarningBox);
        return;
    }
    if (m_pClient->isUploaded(0) != 0) {
        logger().warn("Backed up report could not be uploaded. Report has already been uploaded.");
        MessageBox(nullptr, "The report has already been uploaded before", "Backup not uploaded!",
                   kWarningBox);
        return;
    }
    if (m_pReport->writeReport(true) == 1) {
        m_pReport->deleteBackup();
        finish();
        return;
    }
    // Kept again, on disk or, when that failed, in memory with "Retry".
    setMenuLayer(kLayerSavedReport);
}

void CUserInterface::retrySavingReport() {
    if (m_pReport->saveHeldBackup() != 1) {
        playSound(kSoundError);
    }
    // The notice and the button stay only while the report is still held.
    setMenuLayer(getLayer());
}

void CUserInterface::saveHeldReportAtStop() {
    if (m_pReport == nullptr || !m_pReport->isBackupHeldInMemory()) {
        return;
    }
    if (m_pReport->saveHeldBackup() != 1) {
        logger().error(
            "The report held in memory could not be saved at the stop either: it is lost");
    }
}

void CUserInterface::exitFlight() {
    const int layer = getLayer();
    if (layer != kLayerFlying && layer != kLayerComment) {
        return;
    }
    logger().debug("Aborting flight in progress!");
    m_pClient->resetFlight();
    resetAllClasses();
    setMenuLayer(kLayerLogin);
}

void CUserInterface::abortFlight(std::string& reason) {
    if (m_pSimulator != nullptr) {
        m_pSimulator->displayText(reason.c_str(), kTextSeconds, true);
    }
    logger().warn(reason);
    MessageBox(nullptr, reason.c_str(), "Flight Aborted", kWarningBox);
    resetAllClasses();
    buttonEvent(kLogin);
    setMenuLayer(kLayerHome);
}

bool CUserInterface::checkFlightState() {
    if (m_pFlightState == nullptr || !m_pFlightState->check()) {
        return true;
    }
    m_pReport->uploadTrackerData();
    const int phase = m_pFlightState->get();
    if (phase == kPhaseOnBlock) {
        if (m_pSound != nullptr) m_pSound->play("ding_dong.wav", false);
        m_pSimulator->displayText("FlightState - On Block", kTextSeconds, false);
        return false;
    }
    reactToPhase(phase);
    repaint();
    return true;
}

void CUserInterface::reactToPhase(int phase) {
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    switch (phase) {
        case 0:
            m_pSimulator->displayText("FlightState - Boarding", kTextSeconds, false);
            break;
        case 1: {
            m_pSimulator->displayText("FlightState - Taxi", kTextSeconds, false);
            m_pSimulator->getZuluTime();
            setRecordText(m_pClient->m_report.Deptime, data.zuluTime);
            setRecordText(m_pClient->m_report.Loc_Deptime, data.localTime);
            m_pClient->m_report.DepartureTime = data.dFlightTimeS;
            std::ostringstream line;
            line << "FlightTimer.dDepartSeconds = " << data.dFlightTimeS;
            logger().debug(line.str());
            break;
        }
        case 2:
            m_pSimulator->displayText("FlightState - Takeoff", kTextSeconds, false);
            m_pSimulator->getAircraftTanks();
            data.nFuelTakeOffKg = m_pSimulator->getTotalFuelKg();
            break;
        case 3: {
            if (m_pSound != nullptr) m_pSound->play("ding_dong.wav", false);
            m_pSimulator->displayText("FlightState - Landed", kTextSeconds, false);
            m_pSimulator->getAircraftTanks();
            m_pSimulator->getZuluTime();
            std::string line = "Touchdown VS:";
            int sum = 0;
            for (int speed : m_pSimulator->m_verticalSpeedHistory) {
                line += " " + std::to_string(speed);
                sum += speed;
            }
            const std::size_t count = m_pSimulator->m_verticalSpeedHistory.size();
            // No reading before touchdown gives a touchdown of 0 rather than 0/0.
            data.nLandingVerticalSpeedFpm =
                count == 0 ? 0
                           : static_cast<int>(static_cast<float>(sum) / static_cast<float>(count));
            logger().debug(line);
            data.nFuelLandingKg = m_pSimulator->getTotalFuelKg();
            m_pSimulator->getNearestAirport();
            m_objectManager.show(kEndFlight, true);
            break;
        }
        case CReport::kFlightStateCrashed:
            m_pSimulator->getEverything();
            m_pSimulator->getAircraftTanks();
            m_pSimulator->getZuluTime();
            data.nLandingVerticalSpeedFpm = data.nVerticalSpeedFpm;
            data.nFuelLandingKg = m_pSimulator->getTotalFuelKg();
            m_pClient->m_aircraft.FuelAfter = data.nFuelLandingKg;
            m_pSimulator->getNearestAirport();
            setRecordText(m_pClient->m_report.Arr, data.closestAirport);
            setMenuLayer(kLayerComment);
            m_objectManager.show(kEndFlight, true);
            break;
        default:
            break;
    }
}
