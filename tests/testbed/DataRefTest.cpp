// The emulated dataref table: X-Plane's published names and types, X-Plane's
// answers to wrong accessors, read-only writes and bad handles, and reset.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDataAccess.h"

namespace {

struct PublishedEntry {
    std::string list;
    std::string type;  // as published: int, float, double, float[9], byte[256], ...
    bool writable = false;
};

std::map<std::string, std::vector<PublishedEntry>> readPublishedLists(const std::string& folder) {
    std::map<std::string, std::vector<PublishedEntry>> entries;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(file.path());
        std::string line;
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            std::string name, type, writable;
            if (std::getline(fields, name, '\t') && std::getline(fields, type, '\t') &&
                std::getline(fields, writable, '\t')) {
                entries[name].push_back({file.path().filename().string(), type, writable == "y"});
            }
        }
    }
    return entries;
}

// Whether the table's type mask and size describe the published type. X-Plane
// also answers float reads of its double position datarefs.
bool typeMatches(const std::string& published, int types, int arraySize) {
    const auto bracket = published.find('[');
    const std::string base = published.substr(0, bracket);
    const int size = bracket == std::string::npos ? 0 : std::stoi(published.substr(bracket + 1));
    if (size != arraySize) {
        return false;
    }
    if (base == "int") return types == (size == 0 ? xplmType_Int : xplmType_IntArray);
    if (base == "float") return types == (size == 0 ? xplmType_Float : xplmType_FloatArray);
    if (base == "double")
        return types == xplmType_Double || types == (xplmType_Double | xplmType_Float);
    if (base == "byte") return types == xplmType_Data;
    return false;
}

TEST_F(TestbedTest, DataRefTable_matchesXPlanePublishedNamesTypesSizesAndWritability) {
    const std::string folder = std::string(QUELBY_SOURCE_DIR) + "/../shared/xplane/";
    if (!std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "no published dataref lists at " << folder;
    }
    const auto published = readPublishedLists(folder);
    ASSERT_FALSE(published.empty()) << "no entries read from " << folder;

    for (const auto& [name, types] : sim().dataRefTable()) {
        SCOPED_TRACE(name);
        const auto found = published.find(name);
        ASSERT_NE(found, published.end()) << "not in any published list";
        const int size = sim().dataRefArraySize(name);
        bool typeFound = false;
        bool writableEverywhere = true;
        for (const PublishedEntry& entry : found->second) {
            typeFound = typeFound || typeMatches(entry.type, types, size);
            writableEverywhere = writableEverywhere && entry.writable;
        }
        EXPECT_TRUE(typeFound) << "types " << types << ", size " << size << ", published as "
                               << found->second.front().type;
        // Writable only where no X-Plane version ignores the write.
        EXPECT_EQ(sim().isDataRefWritable(name), writableEverywhere);
    }
}

TEST_F(TestbedTest, DataRefTable_holdsTheAdapterVocabulary_andNothingUnknownIsFound) {
    // The adapter's 33 slots (slot 8 empty), the flap's name before X-Plane
    // 12, and the VR switch the window follows.
    EXPECT_EQ(sim().dataRefTable().size(), 34u);
    for (const char* name :
         {"sim/flightmodel/position/latitude", "sim/time/ground_speed",
          "sim/cockpit2/controls/flap_system_deploy_ratio", "sim/aircraft/overflow/acf_num_tanks",
          "sim/operation/failures/rel_engfir3", "sim/aircraft/parts/acf_gear_deploy"}) {
        EXPECT_NE(XPLMFindDataRef(name), nullptr) << name;
    }
    EXPECT_EQ(XPLMFindDataRef("sim/flightmodel/position/latitud"), nullptr);
    EXPECT_EQ(XPLMFindDataRef(""), nullptr);
}

// One accessor against datarefs of each type: the right type reads the value,
// every other reads 0 and is recorded.
TEST_F(TestbedTest, Accessors_withWrongType_returnZeroAndAreRecorded) {
    XPLMDataRef intRef = XPLMFindDataRef("sim/aircraft/engine/acf_num_engines");  // 2
    XPLMDataRef floatRef = XPLMFindDataRef("sim/aircraft/weight/acf_m_max");      // 78000
    XPLMDataRef positionRef =
        XPLMFindDataRef("sim/flightmodel/position/elevation");  // float|double
    XPLMDataRef arrayRef = XPLMFindDataRef("sim/flightmodel/weight/m_fuel");
    XPLMDataRef dataRef = XPLMFindDataRef("sim/version/sim_build_string");
    char bytes[8];
    float floats[2];

    struct Case {
        const char* what;
        XPLMDataRef ref;
        double (*read)(XPLMDataRef, char*, float*);
        bool misuse;
    };
    const auto geti = [](XPLMDataRef r, char*, float*) { return double(XPLMGetDatai(r)); };
    const auto getf = [](XPLMDataRef r, char*, float*) { return double(XPLMGetDataf(r)); };
    const auto getd = [](XPLMDataRef r, char*, float*) { return XPLMGetDatad(r); };
    const auto getvf = [](XPLMDataRef r, char*, float* f) {
        return double(XPLMGetDatavf(r, f, 0, 2));
    };
    const auto getb = [](XPLMDataRef r, char* b, float*) {
        return double(XPLMGetDatab(r, b, 0, 8));
    };
    const Case cases[] = {
        {"int as int", intRef, geti, false},
        {"int as float", intRef, getf, true},
        {"int as double", intRef, getd, true},
        {"float as float", floatRef, getf, false},
        {"float as int", floatRef, geti, true},
        {"float as double", floatRef, getd, true},
        {"position as double", positionRef, getd, false},
        {"position as float", positionRef, getf, false},
        {"position as int", positionRef, geti, true},
        {"array as array", arrayRef, getvf, false},
        {"array as float", arrayRef, getf, true},
        {"data as data", dataRef, getb, false},
        {"data as array", dataRef, getvf, true},
        {"array as data", arrayRef, getb, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        sim().reset();
        const double value = c.read(c.ref, bytes, floats);
        if (c.misuse) {
            EXPECT_EQ(value, 0.0);
            ASSERT_EQ(sim().dataRefMisuses().size(), 1u);
            EXPECT_EQ(sim().dataRefMisuses()[0].reason, "wrong type");
        } else {
            EXPECT_NE(value, 0.0);
            EXPECT_TRUE(sim().dataRefMisuses().empty());
        }
    }
}

TEST_F(TestbedTest, Writes_toReadOnlyOrWithWrongType_areIgnoredAndRecorded) {
    XPLMDataRef readOnly = XPLMFindDataRef("sim/flightmodel/failures/onground_any");
    XPLMSetDatai(readOnly, 0);
    EXPECT_EQ(sim().getInt("sim/flightmodel/failures/onground_any"), 1);

    XPLMDataRef speed = XPLMFindDataRef("sim/time/sim_speed");
    XPLMSetDataf(speed, 4.0f);
    EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 1);
    XPLMSetDatai(speed, 4);
    EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 4);

    const auto misuses = sim().dataRefMisuses();
    ASSERT_EQ(misuses.size(), 2u);
    EXPECT_EQ(misuses[0].dataRef, "sim/flightmodel/failures/onground_any");
    EXPECT_EQ(misuses[0].accessor, "XPLMSetDatai");
    EXPECT_EQ(misuses[0].reason, "read-only");
    EXPECT_EQ(misuses[1].accessor, "XPLMSetDataf");
    EXPECT_EQ(misuses[1].reason, "wrong type");
}

TEST_F(TestbedTest, InvalidHandles_readZeroAndAreRecorded) {
    int notADataRef = 0;
    EXPECT_EQ(XPLMGetDatai(nullptr), 0);
    EXPECT_EQ(XPLMGetDataf(&notADataRef), 0.0f);
    XPLMSetDatai(&notADataRef, 3);
    EXPECT_EQ(notADataRef, 0);
    EXPECT_EQ(XPLMGetDataRefTypes(nullptr), xplmType_Unknown);
    const auto misuses = sim().dataRefMisuses();
    ASSERT_EQ(misuses.size(), 4u);
    for (const auto& misuse : misuses) {
        EXPECT_EQ(misuse.dataRef, "<invalid handle>");
        EXPECT_EQ(misuse.reason, "invalid handle");
    }
}

TEST_F(TestbedTest, ArrayReads_nullBufferGivesSize_andCopiesStopAtTheArrayEnd) {
    XPLMDataRef fuel = XPLMFindDataRef("sim/flightmodel/weight/m_fuel");
    XPLMDataRef build = XPLMFindDataRef("sim/version/sim_build_string");
    EXPECT_EQ(XPLMGetDatavf(fuel, nullptr, 0, 0), 9);
    EXPECT_EQ(XPLMGetDatab(build, nullptr, 0, 0), 256);

    sim().setFloatArray("sim/flightmodel/weight/m_fuel", {1, 2, 3, 4, 5, 6, 7, 8, 9});
    float values[12];
    std::fill(std::begin(values), std::end(values), -1.0f);
    EXPECT_EQ(XPLMGetDatavf(fuel, values, 7, 12), 2);  // a larger buffer is fine for a read
    EXPECT_EQ(values[0], 8.0f);
    EXPECT_EQ(values[1], 9.0f);
    EXPECT_EQ(values[2], -1.0f);

    char text[300];
    std::fill(std::begin(text), std::end(text), 'x');
    EXPECT_EQ(XPLMGetDatab(build, text, 0, sizeof text), 256);
    EXPECT_EQ(std::string(text), sim().getBytes("sim/version/sim_build_string"));
    EXPECT_EQ(text[256], 'x');
    EXPECT_TRUE(sim().dataRefMisuses().empty());
}

}  // namespace
