// The stand-in airline website: serves the client's one script over HTTP on
// 127.0.0.1, keeps its airline, pilots, bookings and everything it receives in
// SQLite, and fails on request so that tests can watch the client cope.
// Beside the script it answers control requests (testbed/ControlForm.h), by
// which a program in another process steers it as this API does.
//
// Threads: the HTTP server answers on threads of its own; every method here
// may be called from any thread at any time (the database sits behind one
// mutex). stop() and the destructor return within about a second even while a
// request is held unanswered.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace testbed {

// The one script the client posts to.
inline constexpr const char* kWebsiteScript = "/client_interface2.php5";
// The client version the site expects unless told otherwise.
inline constexpr const char* kWebsiteDefaultClientVersion = "v2.0.10b";

// A posted body cut into key/value pairs, in the order sent; keys may repeat.
using FormFields = std::vector<std::pair<std::string, std::string>>;
// One stored row: field name to value.
using Record = std::map<std::string, std::string>;

// The website's data. An id of 0 asks for the next free one; add...() returns
// the id used. Texts are handed to the client as they are.
struct Airline {
    int id = 0;
    std::string name;
    std::string multiplier = "1";  // "v_Multiplier"
    int reputation = 0;
    int pilotChargePercent = 0;  // "v_Pilotcharge"
};

struct Pilot {
    int id = 0;
    std::string user;
    // As the pilot types it. The site keeps its MD5 digest, which is what the
    // client sends at login and gets back as "Password".
    std::string password;
    std::string name;
    std::string surname;
    int airlineId = 0;
    std::string vaUser;  // the pilot's number at the airline
    std::string rank;
    std::string location;  // ICAO
    std::string budget;
    std::string status = "1";
    std::string weightUnit = "0";  // "lbs" makes the client show pounds
};

struct AircraftType {
    int id = 0;
    std::string name;  // e.g. "A320"
    int price = 0;
    int dowKg = 0;
    int mtowKg = 0;
    int engines = 0;
    double ticketFactor = 1.0;
};

struct Aircraft {
    int id = 0;
    int typeId = 0;
    std::string registration;
    std::string description;
    std::string location;  // ICAO
    std::string owner;
    std::string status = "1";
    // Condition in percent.
    double stateEngines[4] = {100.0, 100.0, 100.0, 100.0};
    double stateGear = 100.0;
    double stateHull = 100.0;
    int fuelKg = 0;  // on board when booked
    int value = 0;
    double fuelMult = 1.0;
};

struct Airport {
    std::string icao;
    std::string name;
    double latitudeDeg = 0.0;
    double longitudeDeg = 0.0;
    int elevationFt = 0;
    double fuelPrice = 0.0;  // per kilogram
};

struct Route {
    int id = 0;
    int airlineId = 0;
    std::string airline;  // "r_Airline", the airline's code
    std::string number;   // flight number
    std::string departure;
    std::string arrival;
    std::string departureTime;  // "HHMM": the client keeps 5 bytes with the terminator
    std::string arrivalTime;
    std::string route;
    std::string price;  // ticket price per passenger
    std::string remarks;
    int simrate = 1;  // highest simulation rate allowed
    std::string flightType = "0";
    int aircraftTypeId = 0;
};

// A route booked for a pilot with an aircraft: the flight's entry in the
// airline's flight log ("l_" keys), open until its report arrives.
struct Booking {
    int id = 0;
    std::string user;
    int routeId = 0;
    int aircraftId = 0;
    std::string distanceNm;
    std::string durationMin;
    std::string passengers;
    std::string cargoKg;
    std::string multiplier = "1";
    std::string flightType = "0";
    // Keys of the "getroute" answer replaced or added verbatim, for answers
    // the data model cannot produce (e.g. {"a_FuelMult", "2"}).
    std::map<std::string, std::string> answerOverrides;
};

// What the site does with a request instead of answering it normally.
struct Failure {
    enum class Kind {
        None,            // answer normally
        Word,            // answer the frame with this result word
        NoAnswer,        // never answer; drop the connection at stop() or the no-answer limit
        Delay,           // answer normally after delayMs
        HttpError,       // HTTP status httpStatus with an HTML page
        Garbage,         // an HTML page without any frame
        MissingDataEnd,  // the normal answer without its "DATAEND" line
        Oversized,       // the normal answer padded beyond the client's 4096-byte block
        Refuse,          // close the connection without a byte of answer
    };
    Kind kind = Kind::None;
    std::string word;
    int delayMs = 0;
    int httpStatus = 500;

    static Failure none() { return {}; }
    static Failure answerWord(const std::string& resultWord) {
        return {Kind::Word, resultWord, 0, 500};
    }
    static Failure noAnswer() { return {Kind::NoAnswer, {}, 0, 500}; }
    static Failure delay(int ms) { return {Kind::Delay, {}, ms, 500}; }
    static Failure httpError(int status = 500) { return {Kind::HttpError, {}, 0, status}; }
    static Failure garbage() { return {Kind::Garbage, {}, 0, 500}; }
    static Failure missingDataEnd() { return {Kind::MissingDataEnd, {}, 0, 500}; }
    static Failure oversized() { return {Kind::Oversized, {}, 0, 500}; }
    static Failure refuse() { return {Kind::Refuse, {}, 0, 500}; }
};

struct ReceivedRequest {
    std::string function;  // empty when the body does not begin with "function="
    std::string body;      // exactly as received
    FormFields fields;
    std::int64_t receivedMs = 0;  // Unix time in milliseconds
    std::string answer;           // the body sent back; empty when none was
    // What was wrong with the request, if the site found anything (a failure
    // injected is not the request's fault and shows in injected only).
    std::string problem;
    Failure::Kind injected = Failure::Kind::None;
};

class Website {
public:
    // databasePath empty: an in-memory database. A file keeps its data
    // between runs.
    explicit Website(const std::string& databasePath = "");
    ~Website();
    Website(const Website&) = delete;
    Website& operator=(const Website&) = delete;

    // Listens on 127.0.0.1; port 0 lets the system pick one. False when the
    // port cannot be bound or the site already runs.
    bool start(int port = 0);
    void stop();
    bool isRunning() const;
    int port() const;
    // "127.0.0.1:PORT", the host form the client's settings take.
    std::string url() const;

    // The demo airline: pilot "demo"/"demo" booked on EDDF-EDDS in an A320.
    void seedDemo();
    // Books the demo pilot on the demo route again (120 passengers, 2000 kg
    // of cargo), as the dispatcher would; returns the booking's id. Id 0
    // takes the next free one.
    int bookDemoFlight(int routeId = 1, int aircraftId = 1, int bookingId = 0);

    // What "getversion" answers.
    void setClientVersion(const std::string& version, const std::string& betaVersion = "");
    // The server clock for "gettimestamp" and the stored times' stamps; 0
    // returns to the system clock.
    void setFixedTime(std::int64_t unixSeconds);
    // When on (the default), a request whose keys differ from the client's
    // request format for its function, in name or order, answers "INVALID".
    void setStrictFormat(bool on);
    // Sends every answer in pieces of at most bytes, pausing after each, as
    // a real network delivers an answer longer than one segment; 0 (the
    // default) sends each answer whole.
    void setAnswerPieces(std::size_t bytes, std::chrono::milliseconds pause);
    // How long a NoAnswer failure holds a request before dropping it.
    void setNoAnswerLimit(std::chrono::milliseconds limit);

    int addAirline(const Airline& airline);
    int addPilot(const Pilot& pilot);
    int addAircraftType(const AircraftType& type);
    int addAircraft(const Aircraft& aircraft);
    void addAirport(const Airport& airport);  // replaces an airport of the same ICAO
    int addRoute(const Route& route);
    // The pilot's open booking is the one "getroute" answers (the newest when
    // there are several). Returns 0 when the user is unknown.
    int book(const Booking& booking);
    void cancelBookings(const std::string& user);
    // The newest item (highest id) is the one "getnews" answers.
    int addNews(const std::string& header, const std::string& text, int id = 0);

    // Failure injection, for one function or (function empty) for all; the
    // one for the function wins. times 0: until cleared; otherwise for the
    // next times requests it applies to.
    void injectFailure(const std::string& function, const Failure& failure, int times = 0);
    void clearFailures();

    // Every request received, oldest first.
    std::vector<ReceivedRequest> requests() const;
    std::vector<ReceivedRequest> requests(const std::string& function) const;
    void clearRequests();
    // Waits until at least count requests of function (all when empty) were
    // received and handled. False on time-out.
    bool waitForRequests(const std::string& function, std::size_t count,
                         std::chrono::milliseconds timeout) const;

    // Stored reports: every field as sent, plus "ReportId" as the site gave it.
    std::vector<Record> reports() const;
    // Position entries, one per flight and PositionId (a re-sent entry
    // replaces the earlier one), by flight and PositionId.
    std::vector<Record> positionLogs() const;
    std::vector<Record> eventLogs() const;
    // Every "writelog" (live tracker) update accepted, oldest first.
    std::vector<Record> trackerUpdates() const;
    // The flight log: one entry per booking with the "l_" keys of "getroute".
    std::vector<Record> flightLogs() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace testbed
