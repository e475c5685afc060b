// The website's records as the client keeps them: the pilot, the booked route
// with its log entry, aircraft and airline, the news, the flight report, the
// aircraft type's data and the cache of known airports. Filling them from an
// answer, and saving the backed-up ones into the report backup.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CNumberText.h"

// Threads: the client thread, which runs every request to the website.
//
// One answer of the website as rows of named fields. The records read their
// fields through it, so they need nothing of the transport that fetched it.
class CAnswerFields {
public:
    virtual ~CAnswerFields() = default;
    // Looks up field `key` of answer row `row`; copies at most `max` bytes
    // into out (no terminator added when the value has max bytes or more);
    // returns 0, or -1 when absent (out untouched).
    virtual int getData(const char* key, int row, char* out, int max) = 0;
};

// A text field of a record as a string. A text that fills its field has no
// terminator, so this stops at the field's end.
template <std::size_t N>
std::string recordText(const char (&field)[N]) {
    const void* terminator = std::memchr(field, '\0', N);
    const std::size_t length =
        terminator == nullptr
            ? N
            : static_cast<std::size_t>(static_cast<const char*>(terminator) - field);
    return std::string(field, length);
}

// A number in a record's text field, read within the field (as atoi/atof
// would read it in the "C" locale): a value that fills the field is not
// continued into the next one.
template <std::size_t N>
int recordInt(const char (&field)[N]) {
    return CNumberText::toInt(recordText(field).c_str());
}
template <std::size_t N>
double recordDouble(const char (&field)[N]) {
    return CNumberText::toDouble(recordText(field).c_str());
}

// Writes a text into a record's text field: cut at the field's width and
// zero-filled behind, so a text that fills the field has no terminator, as a
// field filled from an answer.
template <std::size_t N>
void setRecordText(char (&field)[N], const std::string& text) {
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

static_assert(sizeof(float) == 4 && sizeof(double) == 8,
              "the saved records need IEEE single and double floats");

// Layout of every record below. The records of the report backup are stored
// whole, so their layouts are a file format: texts are byte arrays, a 32- or
// 64-bit number after a text starts at the next multiple of 4 bytes (the same
// in 32- and 64-bit builds), and each gap that leaves is spelled out so that
// reset() clears, and a backup stores, known bytes only. The static_asserts
// pin every size and offset.
//
// Filling from an answer: a text field takes at most its width of the value,
// so a value as long as the field or longer is cut and left without its
// terminator (read such fields with recordText). Numbers read as atoi/atof
// would in the "C" locale. A field whose key the answer lacks keeps what it
// held, which after reset() is empty or 0.
#pragma pack(push, 4)

// Threads: the client thread (see CAnswerFields).
//
// The logged-in pilot, from "getpilot". User and Password are the ones the
// website returned, which the flight's uploads send.
struct tTarvex_Pilots {
    char ID[35];         // 0
    char Name[35];       // 35
    char Surname[35];    // 70
    char User[35];       // 105
    char Password[40];   // 140
    char VA_ID[35];      // 180
    char VA_User[35];    // 215
    char Rank[35];       // 250
    char Location[35];   // 285
    char Budget[35];     // 320
    char Status[4];      // 355
    char WeightUnit[4];  // 359

    // Every text empty.
    void reset();
    void fill(CAnswerFields& answer, int row);
    // The whole record as one value, section "Report", key "Tarvex_Pilots" of
    // the report store; reaches the disk with the store's next save. The
    // pilot is read from the website again at login, so it is never loaded.
    bool backup() const;
};

// Threads: the client thread.
//
// The booked route, from "getroute" ("r_" keys).
struct tTarvex_Routes {
    char ID[35];          // 0
    char VA_ID[35];       // 35
    char Airline[35];     // 70
    char Dep[35];         // 105
    char Arr[35];         // 140
    char DepTime[5];      // 175
    char ArrTime[5];      // 180
    char Route[1000];     // 185
    char Type[35];        // 1185
    char ACDB_ID[35];     // 1220
    char AC_ID[35];       // 1255
    char Number[35];      // 1290
    char Price[35];       // 1325
    char Remarks[35];     // 1360
    uint8_t pad1395[1];   // 1395
    int32_t Simrate;      // 1396
    char FlightType[35];  // 1400
    uint8_t pad1435[1];   // 1435

    // Every text empty and Simrate 0.
    void reset();
    void fill(CAnswerFields& answer, int row);
    // Section "Report", key "Tarvex_Routes" of the report store.
    bool backup() const;
    // False, with the record left as it was, when the store holds no such value.
    bool load();
};

// Threads: the client thread.
//
// The flight's entry in the website's flight log, from "getroute" ("l_" keys).
struct tTarvex_Logs {
    char ID[35];           // 0
    char AC_ID[35];        // 35
    char User_ID[35];      // 70
    char Route_ID[35];     // 105
    char Departure[35];    // 140
    char Arrival[35];      // 175
    char Dist[35];         // 210
    char Duration[35];     // 245
    char Status[35];       // 280
    char Passengers[35];   // 315
    char Cargo[35];        // 350
    char Multiplier[35];   // 385
    char FlightType[35];   // 420
    char Lon[35];          // 455
    char Lat[35];          // 490
    char FlightState[35];  // 525
    int32_t Timestamp;     // 560

    // Every text empty and Timestamp 0.
    void reset();
    void fill(CAnswerFields& answer, int row);
    // Section "Report", key "Tarvex_Logs" of the report store.
    bool backup() const;
    // False, with the record left as it was, when the store holds no such value.
    bool load();
};

// Threads: the client thread.
//
// The booked aircraft, from "getroute" ("a_" keys). FuelBooked and FuelAfter
// are the client's own: the fuel on board as booked, and on arrival.
struct tTarvex_Aircrafts {
    float StateEng1;        // 0
    float StateEng2;        // 4
    float StateEng3;        // 8
    float StateEng4;        // 12
    float StateGear;        // 16
    float StateHull;        // 20
    int32_t Fuel;           // 24
    int32_t Value;          // 28
    char ID[35];            // 32
    char ACDB_ID[35];       // 67
    char Location[5];       // 102
    char Owner[51];         // 107
    char Status[35];        // 158
    char Registration[35];  // 193
    char Type[35];          // 228
    char Description[35];   // 263
    // Unused, but part of the saved layout; reset() clears it.
    uint8_t Reserved[258];  // 298
    float FuelMult;         // 556
    int32_t FuelBooked;     // 560, kg, Fuel as booked
    int32_t FuelAfter;      // 564, kg, on board at arrival

    // Every number 0, every text empty, the reserved area cleared.
    void reset();
    // Leaves FuelBooked and FuelAfter alone: the answer has no such fields.
    void fill(CAnswerFields& answer, int row);
    // Section "Report", key "Tarvex_Aircrafts" of the report store.
    bool backup() const;
    // False, with the record left as it was, when the store holds no such value.
    bool load();
};

// Threads: the client thread.
//
// The pilot's virtual airline, from "getroute" ("v_" keys).
struct tTarvex_VirtualAirlines {
    int32_t Reputation;   // 0
    int32_t Pilotcharge;  // 4
    char ID[35];          // 8
    char Name[51];        // 43
    char Multiplier[5];   // 94
    uint8_t pad99[1];     // 99

    // Every text empty and both numbers 0.
    void reset();
    void fill(CAnswerFields& answer, int row);
    // Section "Report", key "Tarvex_VirtualAirlines" of the report store.
    bool backup() const;
    // False, with the record left as it was, when the store holds no such value.
    bool load();
};

// Threads: the client thread.
//
// The airline's news item, from "getnews". Not part of the backup, but laid
// out like the other records all the same.
struct tTarvex_News_Client {
    int32_t ID;         // 0
    char Header[1024];  // 4
    char Text[2056];    // 1028

    // Both texts empty and ID 0.
    void reset();
    void fill(CAnswerFields& answer, int row);
};

// Threads: the client thread.
//
// The flight report that is uploaded. The report code fills it; only ReportId
// comes from the website.
struct tTarvex_Reports {
    char ReportId[9];          // 0
    char AC_Type[35];          // 9
    char AC_ID[35];            // 44
    char PIC[71];              // 79
    char Pilot_ID[35];         // 150
    char PID[35];              // 185
    char VA[51];               // 220
    char VA_ID[35];            // 271
    char Number[35];           // 306
    char Dep[35];              // 341
    char Pln_Arr[35];          // 376
    char Arr[35];              // 411
    char Deptime[35];          // 446
    char Loc_Deptime[35];      // 481
    char Arrtime[35];          // 516
    char Loc_Arrtime[35];      // 551
    char Hours[35];            // 586
    char TS[35];               // 621
    char FlightState[35];      // 656
    uint8_t pad691[1];         // 691
    int32_t VS;                // 692
    char Rating[35];           // 696
    char Ratingreasons[1024];  // 731
    char Distance[35];         // 1755
    char PAX[35];              // 1790
    char Ticket[35];           // 1825
    int32_t Crew;              // 1860
    int32_t Salary;            // 1864
    char Fuelprice[35];        // 1868
    char Fuel_Bought[35];      // 1903
    char Fuel_Used[35];        // 1938
    uint8_t pad1973[3];        // 1973
    int32_t Fuel_Dep;          // 1976
    int32_t Fuel_TakeOff;      // 1980
    int32_t Fuel_Land;         // 1984
    int32_t Profit;            // 1988
    char Version[35];          // 1992
    uint8_t pad2027[1];        // 2027
    int32_t Simrate;           // 2028
    char Multiplier[35];       // 2032
    uint8_t pad2067[1];        // 2067
    int32_t Bonus;             // 2068
    char Cargo[35];            // 2072
    char Cargo_kg[35];         // 2107
    char FlightType[35];       // 2142
    char Comment64[1024];      // 2177, the pilot's comment in base64
    char Cheat[1024];          // 3201
    uint8_t pad4225[3];        // 4225
    int32_t EmergencyLanding;  // 4228
    double DepartureTime;      // 4232, s, not uploaded
    double ArrivalTime;        // 4240, s, not uploaded
    double Spare[2];           // 4248, unused, kept for the saved layout
    char Interface[16];        // 4264
    char SimVersion[16];       // 4280
    char OS[4];                // 4296

    // ReportId the text "0", every other text empty, every number 0.
    void reset();
    // Section "Report", key "Tarvex_Reports" of the report store.
    bool backup() const;
    // False, with the record left as it was, when the store holds no such value.
    bool load();
};

#pragma pack(pop)

static_assert(std::is_standard_layout<tTarvex_Pilots>::value &&
                  std::is_trivially_copyable<tTarvex_Pilots>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_Pilots) == 363, "saved record size");
static_assert(offsetof(tTarvex_Pilots, ID) == 0, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Name) == 35, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Surname) == 70, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, User) == 105, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Password) == 140, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, VA_ID) == 180, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, VA_User) == 215, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Rank) == 250, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Location) == 285, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Budget) == 320, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, Status) == 355, "saved record layout");
static_assert(offsetof(tTarvex_Pilots, WeightUnit) == 359, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_Routes>::value &&
                  std::is_trivially_copyable<tTarvex_Routes>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_Routes) == 1436, "saved record size");
static_assert(offsetof(tTarvex_Routes, ID) == 0, "saved record layout");
static_assert(offsetof(tTarvex_Routes, VA_ID) == 35, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Airline) == 70, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Dep) == 105, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Arr) == 140, "saved record layout");
static_assert(offsetof(tTarvex_Routes, DepTime) == 175, "saved record layout");
static_assert(offsetof(tTarvex_Routes, ArrTime) == 180, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Route) == 185, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Type) == 1185, "saved record layout");
static_assert(offsetof(tTarvex_Routes, ACDB_ID) == 1220, "saved record layout");
static_assert(offsetof(tTarvex_Routes, AC_ID) == 1255, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Number) == 1290, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Price) == 1325, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Remarks) == 1360, "saved record layout");
static_assert(offsetof(tTarvex_Routes, pad1395) == 1395, "saved record layout");
static_assert(offsetof(tTarvex_Routes, Simrate) == 1396, "saved record layout");
static_assert(offsetof(tTarvex_Routes, FlightType) == 1400, "saved record layout");
static_assert(offsetof(tTarvex_Routes, pad1435) == 1435, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_Logs>::value &&
                  std::is_trivially_copyable<tTarvex_Logs>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_Logs) == 564, "saved record size");
static_assert(offsetof(tTarvex_Logs, ID) == 0, "saved record layout");
static_assert(offsetof(tTarvex_Logs, AC_ID) == 35, "saved record layout");
static_assert(offsetof(tTarvex_Logs, User_ID) == 70, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Route_ID) == 105, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Departure) == 140, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Arrival) == 175, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Dist) == 210, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Duration) == 245, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Status) == 280, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Passengers) == 315, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Cargo) == 350, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Multiplier) == 385, "saved record layout");
static_assert(offsetof(tTarvex_Logs, FlightType) == 420, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Lon) == 455, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Lat) == 490, "saved record layout");
static_assert(offsetof(tTarvex_Logs, FlightState) == 525, "saved record layout");
static_assert(offsetof(tTarvex_Logs, Timestamp) == 560, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_Aircrafts>::value &&
                  std::is_trivially_copyable<tTarvex_Aircrafts>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_Aircrafts) == 568, "saved record size");
static_assert(offsetof(tTarvex_Aircrafts, StateEng1) == 0, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, StateEng2) == 4, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, StateEng3) == 8, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, StateEng4) == 12, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, StateGear) == 16, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, StateHull) == 20, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Fuel) == 24, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Value) == 28, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, ID) == 32, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, ACDB_ID) == 67, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Location) == 102, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Owner) == 107, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Status) == 158, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Registration) == 193, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Type) == 228, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Description) == 263, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, Reserved) == 298, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, FuelMult) == 556, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, FuelBooked) == 560, "saved record layout");
static_assert(offsetof(tTarvex_Aircrafts, FuelAfter) == 564, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_VirtualAirlines>::value &&
                  std::is_trivially_copyable<tTarvex_VirtualAirlines>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_VirtualAirlines) == 100, "saved record size");
static_assert(offsetof(tTarvex_VirtualAirlines, Reputation) == 0, "saved record layout");
static_assert(offsetof(tTarvex_VirtualAirlines, Pilotcharge) == 4, "saved record layout");
static_assert(offsetof(tTarvex_VirtualAirlines, ID) == 8, "saved record layout");
static_assert(offsetof(tTarvex_VirtualAirlines, Name) == 43, "saved record layout");
static_assert(offsetof(tTarvex_VirtualAirlines, Multiplier) == 94, "saved record layout");
static_assert(offsetof(tTarvex_VirtualAirlines, pad99) == 99, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_News_Client>::value &&
                  std::is_trivially_copyable<tTarvex_News_Client>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_News_Client) == 3084, "saved record size");
static_assert(offsetof(tTarvex_News_Client, ID) == 0, "saved record layout");
static_assert(offsetof(tTarvex_News_Client, Header) == 4, "saved record layout");
static_assert(offsetof(tTarvex_News_Client, Text) == 1028, "saved record layout");

static_assert(std::is_standard_layout<tTarvex_Reports>::value &&
                  std::is_trivially_copyable<tTarvex_Reports>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tTarvex_Reports) == 4300, "saved record size");
static_assert(offsetof(tTarvex_Reports, ReportId) == 0, "saved record layout");
static_assert(offsetof(tTarvex_Reports, AC_Type) == 9, "saved record layout");
static_assert(offsetof(tTarvex_Reports, AC_ID) == 44, "saved record layout");
static_assert(offsetof(tTarvex_Reports, PIC) == 79, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Pilot_ID) == 150, "saved record layout");
static_assert(offsetof(tTarvex_Reports, PID) == 185, "saved record layout");
static_assert(offsetof(tTarvex_Reports, VA) == 220, "saved record layout");
static_assert(offsetof(tTarvex_Reports, VA_ID) == 271, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Number) == 306, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Dep) == 341, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Pln_Arr) == 376, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Arr) == 411, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Deptime) == 446, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Loc_Deptime) == 481, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Arrtime) == 516, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Loc_Arrtime) == 551, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Hours) == 586, "saved record layout");
static_assert(offsetof(tTarvex_Reports, TS) == 621, "saved record layout");
static_assert(offsetof(tTarvex_Reports, FlightState) == 656, "saved record layout");
static_assert(offsetof(tTarvex_Reports, pad691) == 691, "saved record layout");
static_assert(offsetof(tTarvex_Reports, VS) == 692, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Rating) == 696, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Ratingreasons) == 731, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Distance) == 1755, "saved record layout");
static_assert(offsetof(tTarvex_Reports, PAX) == 1790, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Ticket) == 1825, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Crew) == 1860, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Salary) == 1864, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuelprice) == 1868, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuel_Bought) == 1903, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuel_Used) == 1938, "saved record layout");
static_assert(offsetof(tTarvex_Reports, pad1973) == 1973, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuel_Dep) == 1976, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuel_TakeOff) == 1980, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Fuel_Land) == 1984, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Profit) == 1988, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Version) == 1992, "saved record layout");
static_assert(offsetof(tTarvex_Reports, pad2027) == 2027, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Simrate) == 2028, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Multiplier) == 2032, "saved record layout");
static_assert(offsetof(tTarvex_Reports, pad2067) == 2067, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Bonus) == 2068, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Cargo) == 2072, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Cargo_kg) == 2107, "saved record layout");
static_assert(offsetof(tTarvex_Reports, FlightType) == 2142, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Comment64) == 2177, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Cheat) == 3201, "saved record layout");
static_assert(offsetof(tTarvex_Reports, pad4225) == 4225, "saved record layout");
static_assert(offsetof(tTarvex_Reports, EmergencyLanding) == 4228, "saved record layout");
static_assert(offsetof(tTarvex_Reports, DepartureTime) == 4232, "saved record layout");
static_assert(offsetof(tTarvex_Reports, ArrivalTime) == 4240, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Spare) == 4248, "saved record layout");
static_assert(offsetof(tTarvex_Reports, Interface) == 4264, "saved record layout");
static_assert(offsetof(tTarvex_Reports, SimVersion) == 4280, "saved record layout");
static_assert(offsetof(tTarvex_Reports, OS) == 4296, "saved record layout");

// Threads: the client thread.
//
// The booked aircraft type's figures, from "getroute" ("d_" keys). Saved
// with a report backup, because the report's money and the aircraft's value
// depend on them and the next booking may be of another type.
#pragma pack(push, 4)
struct tAircraftTypeData {
    int32_t Price = 0;
    int32_t DOW = 0;   // dry operating weight, kg
    int32_t MTOW = 0;  // maximum take-off weight, kg
    int32_t Engines = 0;
    double Ticket = 0.0;  // the ticket factor

    // Every figure 0.
    void reset() { *this = tAircraftTypeData(); }
    void fill(CAnswerFields& answer, int row);
    // Section "Report", key "AircraftType" of the report store.
    bool backup() const;
    bool load();
};

// Threads: the client thread (the position tracker).
//
// One position of the flight's position log, as sent to the website and as
// kept in the report backup ("positiondata" entries), so its 40 bytes are a
// file format.
struct tquelby_position_logs {
    int32_t Timestamp;        // flight time, s
    float Longitude;          // degrees
    float Latitude;           // degrees
    int32_t Heading;          // degrees, truncated
    int32_t Altitude;         // ft: height above ground plus ground elevation
    int32_t GroundElevation;  // ft
    int32_t GroundSpeed;      // kts
    int32_t Fuel;             // kg on board
    int32_t SimulationRate;   // factor
    int32_t PositionId;       // running number of the entry in its flight, from 0
};
#pragma pack(pop)

static_assert(std::is_standard_layout<tAircraftTypeData>::value &&
                  std::is_trivially_copyable<tAircraftTypeData>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tAircraftTypeData) == 24, "saved record size");
static_assert(offsetof(tAircraftTypeData, Price) == 0, "saved record layout");
static_assert(offsetof(tAircraftTypeData, DOW) == 4, "saved record layout");
static_assert(offsetof(tAircraftTypeData, MTOW) == 8, "saved record layout");
static_assert(offsetof(tAircraftTypeData, Engines) == 12, "saved record layout");
static_assert(offsetof(tAircraftTypeData, Ticket) == 16, "saved record layout");

static_assert(std::is_standard_layout<tquelby_position_logs>::value &&
                  std::is_trivially_copyable<tquelby_position_logs>::value,
              "the entry is saved byte for byte");
static_assert(sizeof(tquelby_position_logs) == 40, "saved entry size");
static_assert(offsetof(tquelby_position_logs, Timestamp) == 0, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, Longitude) == 4, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, Latitude) == 8, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, Heading) == 12, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, Altitude) == 16, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, GroundElevation) == 20, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, GroundSpeed) == 24, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, Fuel) == 28, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, SimulationRate) == 32, "saved entry layout");
static_assert(offsetof(tquelby_position_logs, PositionId) == 36, "saved entry layout");

// Threads: as CAirportCache (client thread).
//
// One known airport of the cache.
struct tAirport {
    char icao[5];  // up to 4 characters, always terminated
    double latitudeDeg;
    double longitudeDeg;
    double fuelPrice;
};

// Threads: the client thread.
//
// The airports the website told the client about, newest first; each ICAO
// code at most once. Kept as long as its owner lives, so that the nearest
// airport and fuel prices need no request once known.
class CAirportCache {
public:
    using const_iterator = std::deque<tAirport>::const_iterator;

    CAirportCache() = default;
    // The index points into the list: a copy would point into the original.
    CAirportCache(const CAirportCache&) = delete;
    CAirportCache& operator=(const CAirportCache&) = delete;
    CAirportCache(CAirportCache&&) = default;
    CAirportCache& operator=(CAirportCache&&) = default;

    // Only the first 4 characters of icao count. Returns false, leaving the
    // cache as it was, when the code is already there: the first figures stay.
    bool add(const char* icao, double latitudeDeg, double longitudeDeg, double fuelPrice);
    // The airport with this code, or null. The pointer stays valid while the
    // cache lives.
    const tAirport* find(const char* icao) const;
    // Forgets every airport, keeping the memory for the next ones; pointers
    // handed out before no longer hold.
    void clear();

    const_iterator begin() const { return m_airports.begin(); }
    const_iterator end() const { return m_airports.end(); }
    std::size_t size() const { return m_airports.size(); }
    bool empty() const { return m_airports.empty(); }

private:
    // A code of up to 4 characters as one number: equal codes, equal keys.
    static std::uint32_t key(const char (&icao)[5]);

    // Newest first; adding at the front moves no airport, so pointers stay.
    std::deque<tAirport> m_airports;
    // Every code in m_airports, sorted by key, for finding one without
    // walking them all: a long flight gathers thousands.
    std::vector<std::pair<std::uint32_t, const tAirport*>> m_byIcao;
};
