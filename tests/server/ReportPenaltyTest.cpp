// The report's penalty slots: the catalogue of texts, events and deductions,
// the refuelling warning, raising twice, unknown kinds and the reset.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "AircraftData.h"
#include "CBlackbox.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CReport.h"
#include "TestSupport.h"

namespace {

class ReportPenaltyTest : public quelby_test::FolderTest {
protected:
    static bool isEmptySlot(const struct_penalty& slot) {
        struct_penalty empty;
        std::memset(&empty, 0, sizeof(empty));
        return std::memcmp(&slot, &empty, sizeof(empty)) == 0;
    }
};

TEST_F(ReportPenaltyTest, EachKind_raisesItsSlotWithTheCatalogueEntry) {
    const struct {
        int kind;
        const char* text;
        const char* eventName;
        int rating;
        int reputation;
    } catalogue[] = {
        {0, "overspeed - taxi", "Penalty - overspeed taxi", 5, 0},
        {1, "wrong airport", "Penalty - wrong airport", 15, 5},
        {2, "crashed", "Penalty - crash", 50, 20},
        {3, "still rolling when ending flight", "Penalty - still rolling when ending flight", 5, 0},
        {4, "parking brakes", "Penalty - parking brakes not enabled", 5, 0},
        {5, "landing lights on above FL100", "Penalty - landing lights over FL100", 5, 0},
        {6, "landing lights off under 1000 feet", "Penalty - landing lights off under 1000 feet", 5,
         0},
        {7, "overspeed under FL100", "Penalty - overspeed under FL100", 5, 0},
        {8, "exhausted fuel supply", "Penalty - exhausted fuel supply", 15, 5},
        {9, "inflight refueling", "Penalty - refueling during flight", 0, 0},
    };
    for (const auto& entry : catalogue) {
        SCOPED_TRACE("kind " + std::to_string(entry.kind));
        CReport report;
        EXPECT_EQ(report.addPenalty(entry.kind, 5000, 5200), 1);

        EXPECT_TRUE(report.isPenalty(entry.kind));
        const struct_penalty* slot = report.getPenalty(entry.kind);
        ASSERT_NE(slot, nullptr);
        EXPECT_EQ(slot->active, 1);
        EXPECT_STREQ(slot->text, entry.text);
        EXPECT_EQ(slot->ratingDeduction, entry.rating);
        EXPECT_EQ(slot->reputationDeduction, entry.reputation);
        EXPECT_EQ(CReport::getPenaltyEventName(entry.kind), entry.eventName);
        for (int other = 0; other < CReport::kNumPenaltySlots; ++other) {
            if (other != entry.kind) {
                EXPECT_FALSE(report.isPenalty(other)) << "slot " << other;
            }
        }
    }
    // Only the refuelling logs the fuel before and after, as a warning.
    const std::string warning = "Warn: [CReport] Inflight refueling recongnized: 5000 -> 5200";
    const std::size_t at = log().find(warning);
    EXPECT_NE(at, std::string::npos) << log();
    EXPECT_EQ(log().find(warning, at + 1), std::string::npos) << log();
}

TEST_F(ReportPenaltyTest, UnknownKind_changesNoSlotAndReturnsOne) {
    CReport report;
    for (int kind : {-1, 10, 11, 1000}) {
        SCOPED_TRACE("kind " + std::to_string(kind));
        EXPECT_EQ(report.addPenalty(kind), 1);
        EXPECT_FALSE(report.isPenalty(kind));
        EXPECT_EQ(CReport::getPenaltyEventName(kind), "");
    }
    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        EXPECT_TRUE(isEmptySlot(*report.getPenalty(slot))) << "slot " << slot;
    }
    EXPECT_EQ(report.getPenalty(-1), nullptr);
    EXPECT_EQ(report.getPenalty(11), nullptr);
}

TEST_F(ReportPenaltyTest, RaisedTwice_countsOnceAndOneDeleteClearsIt) {
    CReport report;
    report.addPenalty(4);
    struct_penalty once;
    std::memcpy(&once, report.getPenalty(4), sizeof(once));

    report.addPenalty(4);
    EXPECT_EQ(std::memcmp(report.getPenalty(4), &once, sizeof(once)), 0);

    report.deletePenalty(4);
    EXPECT_FALSE(report.isPenalty(4));
    report.deletePenalty(4);
    EXPECT_FALSE(report.isPenalty(4));
}

TEST_F(ReportPenaltyTest, Raised_putsItsEventIntoTheFlightsEventLog_once) {
    tagAircraftData aircraft;
    aircraft.reset();
    aircraft.dFlightTimeS = 600.0;
    aircraft.dAltitudeFt = 2500.0;
    Blackbox::CBlackbox recorder(nullptr, &aircraft, nullptr);
    CReport report(nullptr, nullptr, &recorder);
    report.addPenalty(7);
    report.addPenalty(7);
    report.addPenalty(4);
    report.addPenalty(42);
    const auto& events = recorder.getFlightData();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_STREQ(events[0].text, "Penalty - overspeed under FL100");
    EXPECT_EQ(events[0].timestamp, 600);
    EXPECT_EQ(events[0].altitude, 2500);
    EXPECT_STREQ(events[1].text, "Penalty - parking brakes not enabled");
}

TEST_F(ReportPenaltyTest, ResetCReport_emptiesEverySlotAndTheFlightsRecords_butKeepsTheLogin) {
    CClientInterface client;
    CReport report(nullptr, &client);
    for (int kind = 0; kind <= 9; ++kind) report.addPenalty(kind);
    std::strcpy(client.m_pilot.ID, "12");
    std::strcpy(client.m_pilot.User, "demo");
    std::strcpy(client.m_pilot.Password, "fe01ce2a7fbac8fafaed7c982a04e229");
    std::strcpy(client.m_virtualAirline.Name, "Quelby Air");
    std::strcpy(client.m_report.Rating, "85");
    report.resetCReport();

    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        EXPECT_FALSE(report.isPenalty(slot)) << "slot " << slot;
        EXPECT_TRUE(isEmptySlot(*report.getPenalty(slot))) << "slot " << slot;
    }
    EXPECT_EQ(recordText(client.m_pilot.ID), "");
    EXPECT_EQ(recordText(client.m_pilot.User), "demo");
    EXPECT_EQ(recordText(client.m_pilot.Password), "fe01ce2a7fbac8fafaed7c982a04e229");
    EXPECT_EQ(recordText(client.m_virtualAirline.Name), "");
    EXPECT_EQ(recordText(client.m_report.Rating), "");
    EXPECT_EQ(recordText(client.m_report.ReportId), "0");
    report.addPenalty(2);
    EXPECT_TRUE(report.isPenalty(2)) << "a reset report takes new penalties";
}

}  // namespace
