// The aircraft record's trip through the report file, the tank count and
// the kilogram/pound conversions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "AircraftData.h"
#include "CIniParser.h"
#include "TestSupport.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Where the record keeps its bool flags.
const std::size_t kFlagOffsets[] = {4, 5, 48, 49, 84, 88, 89};

Bytes bytesOf(const tagAircraftData& data) {
    const unsigned char* first = reinterpret_cast<const unsigned char*>(&data);
    return Bytes(first, first + sizeof(data));
}

class AircraftDataTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        CIniParser::destroyInstance();
        FolderTest::SetUp();
    }
};

TEST_F(AircraftDataTest, BackupThenLoad_throughTheReportFile_givesTheSameBytes) {
    tagAircraftData saved;
    unsigned char* raw = reinterpret_cast<unsigned char*>(&saved);
    for (std::size_t i = 0; i < sizeof(saved); ++i)
        raw[i] = static_cast<unsigned char>(i * 37 + 11);
    // Flags hold 0 or 1 in every record the client writes.
    for (const std::size_t flag : kFlagOffsets) raw[flag] = static_cast<unsigned char>(flag % 2);
    saved.dLatitude = 50.0331;
    saved.dAltitudeFt = 35000.5;
    std::strcpy(saved.closestAirport, "EDDF");

    ASSERT_TRUE(saved.backup());
    ASSERT_TRUE(CIniParser::instance()->saveFiles());
    CIniParser::destroyInstance();

    // The record's place in the file, which the next run of the client reads.
    const std::string file = quelby_test::readFile(m_folder.file("quelby_report.ini"));
    EXPECT_NE(file.find("[Report]"), std::string::npos) << file;
    EXPECT_NE(file.find("AircraftData = "), std::string::npos) << file;

    tagAircraftData loaded;
    loaded.reset();
    ASSERT_TRUE(loaded.load());
    EXPECT_EQ(bytesOf(loaded), bytesOf(saved));
    EXPECT_STREQ(loaded.closestAirport, "EDDF");
}

TEST_F(AircraftDataTest, Load_withoutABackup_returnsFalseAndKeepsTheRecord) {
    tagAircraftData data;
    data.reset();
    data.nFlightState = 6;
    data.nGroundSpeedKts = 420;
    const Bytes before = bytesOf(data);

    EXPECT_FALSE(data.load());
    EXPECT_EQ(bytesOf(data), before);
}

// A bool holding anything but 0 or 1 is undefined to read; a damaged file
// could put any byte there.
TEST_F(AircraftDataTest, Load_flagBytesOtherThanZeroOrOne_readAsSetWithALogLine) {
    tagAircraftData saved;
    saved.reset();
    saved.nPassengers = 120;
    unsigned char* raw = reinterpret_cast<unsigned char*>(&saved);
    for (const std::size_t flag : kFlagOffsets) raw[flag] = static_cast<unsigned char>(flag);
    raw[5] = 0;
    ASSERT_TRUE(saved.backup());

    tagAircraftData loaded;
    loaded.reset();
    ASSERT_TRUE(loaded.load());

    const Bytes bytes = bytesOf(loaded);
    for (const std::size_t flag : kFlagOffsets) {
        EXPECT_EQ(bytes[flag], flag == 5 ? 0 : 1) << "flag at byte " << flag;
    }
    EXPECT_TRUE(loaded.bOnGround);
    EXPECT_FALSE(loaded.bDamaged);
    EXPECT_EQ(loaded.nPassengers, 120);
    EXPECT_NE(log().find("Report-Backup flag at byte 49 holds 49; read as set"), std::string::npos)
        << log();
    EXPECT_EQ(log().find("flag at byte 5 "), std::string::npos) << log();
}

TEST(TanksFloatTest, GetNumUsedTanks_countsPositiveSlotsZeroToTen) {
    tTanksFloat tanks;
    EXPECT_EQ(tanks.getNumUsedTanks(), 0);

    tanks.tank[0] = 1200.0f;
    tanks.tank[4] = 0.1f;
    tanks.tank[10] = 5.0f;
    tanks.tank[11] = 900.0f;  // beyond the counted slots
    tanks.tank[2] = -3.0f;    // not a quantity
    EXPECT_EQ(tanks.getNumUsedTanks(), 3);
}

TEST(UnitConversionTest, EachUnit_namesAndConvertsWeights) {
    const struct {
        int unit;
        const char* name;
        int weightOf100Kg;
        int kgOf220;
        float weightOf1000Kg;
        float kgOf2204Dot6225;
    } cases[] = {
        {0, "kg", 100, 220, 1000.0f, 2204.6225f},
        {1, "lbs", 220, 99, 2204.6225f, 1000.0f},
        {2, "n/a", 100, 220, 1000.0f, 2204.6225f},
        {-1, "n/a", 100, 220, 1000.0f, 2204.6225f},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("unit " + std::to_string(c.unit));
        CUnitConversion conversion;
        conversion.setWeightUnit(c.unit);
        EXPECT_EQ(conversion.getWeightUnit(), c.name);
        EXPECT_EQ(conversion.getWeight(100), c.weightOf100Kg);
        EXPECT_EQ(conversion.getKg(220), c.kgOf220);
        EXPECT_FLOAT_EQ(conversion.getWeight(1000.0f), c.weightOf1000Kg);
        EXPECT_FLOAT_EQ(conversion.getKg(2204.6225f), c.kgOf2204Dot6225);
    }
}

TEST(UnitConversionTest, FreeFunctions_useTheSinglePrecisionFactor) {
    EXPECT_EQ(kgtolbs(1.0f), 2.2046225f);
    EXPECT_EQ(lbstokg(2.2046225f), 1.0f);
    EXPECT_FLOAT_EQ(kgtolbs(lbstokg(3000.0f)), 3000.0f);
    // 2^23 stands for 1: the whole of 2204.6225 lbs, then half of it.
    EXPECT_FLOAT_EQ(lbstokgFS(8388608.0f, 2204.6225f), 1000.0f);
    EXPECT_FLOAT_EQ(lbstokgFS(4194304.0f, 2204.6225f), 500.0f);
    EXPECT_EQ(lbstokgFS(0.0f, 2204.6225f), 0.0f);
}

}  // namespace
