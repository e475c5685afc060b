// A window that cannot be read any more (the plug-in is stopping while the
// client acts on a press): what was not read is not taken as "off" or empty.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CClientInterface.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "FakeSimulator.h"
#include "ServerRecords.h"
#include "TestSupport.h"

namespace {

constexpr int kSaveChanges = 11;
constexpr int kEndFlight = 9;
constexpr int kCommentField = 115;
constexpr int kOptionBoxes[] = {201, 202, 203, 204, 205};

// A control whose widget is gone: every read fails, as it does once the
// simulator's thread no longer takes the client's jobs.
class Unreadable : public CUserInterfaceObject {
public:
    Unreadable(int id, int kind)
        : CUserInterfaceObject(0, 0, 20, 20, kind, "", 0, nullptr, id, 2, 0) {}
    bool readText(std::string&) override { return false; }
    bool readCheckBox(bool&) override { return false; }
};

class Window : public CUserInterface {
public:
    Window() {
        for (int id : kOptionBoxes) {
            addObject(std::make_unique<Unreadable>(id, CUserInterfaceObject::CheckBox));
        }
        addObject(std::make_unique<Unreadable>(kCommentField, CUserInterfaceObject::TextField));
    }
    using CUserInterface::setMenuLayer;
};

class UnreadWindowTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        client = std::make_unique<CClientInterface>();
        // Nothing listens there: a login after the report fails at once.
        client->setHost("127.0.0.1:1");
        report = std::make_unique<CReport>(&simulator, client.get());
        simulator.setBookedFlight(client.get());
        CUserInterface::tSubsystems subsystems;
        subsystems.client = client.get();
        subsystems.simulator = &simulator;
        subsystems.report = report.get();
        ui.setSubsystems(subsystems);
    }

    quelby_test::FakeSimulator simulator;
    std::unique_ptr<CClientInterface> client;
    std::unique_ptr<CReport> report;
    Window ui;
};

TEST_F(UnreadWindowTest, SaveChanges_withBoxesUnread_keepsEveryOptionAsItWas) {
    CIniParser& ini = *CIniParser::instance();
    for (const char* key : {"AutoLogin", "Tracker", "FSMessages", "SimpleFuel", "Sound"}) {
        ini.writeStringToConfig("settings", key, "1");
    }
    ini.saveFiles();
    ui.getConfig();
    ui.setMenuLayer(CUserInterface::kLayerOptions);

    ui.buttonEvent(kSaveChanges);

    for (const char* key : {"AutoLogin", "Tracker", "FSMessages", "SimpleFuel", "Sound"}) {
        EXPECT_TRUE(ini.getBoolFromConfig("settings", key)) << key << " was turned off unread";
    }
    EXPECT_TRUE(ui.isAutoLogin());
    EXPECT_TRUE(ui.isSimpleFuel());
    EXPECT_TRUE(report->isTrackerEnabled());
    EXPECT_NE(log().find("Options not all read from the window"), std::string::npos);
}

TEST_F(UnreadWindowTest, SubmitReport_withTheCommentUnread_keepsTheCommentItHad) {
    const std::string typedEarlier = CReport::base64_encode("Smooth ride", 1023);
    setRecordText(client->m_report.Comment64, typedEarlier);
    ui.setMenuLayer(CUserInterface::kLayerComment);

    ui.buttonEvent(kEndFlight);

    EXPECT_EQ(recordText(client->m_report.Comment64), typedEarlier);
    EXPECT_NE(log().find("Comment not read from the window"), std::string::npos);
}

}  // namespace
