// The website's SQLite database: the airline's data, the flight log, and
// every request, report, position, event and tracker update received.
//
// Threads: not thread-safe; the website serialises every call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "testbed/Website.h"

struct sqlite3;

namespace testbed {

class SiteDatabase {
public:
    // path empty: in memory. Creates the tables that are missing.
    explicit SiteDatabase(const std::string& path);
    ~SiteDatabase();
    SiteDatabase(const SiteDatabase&) = delete;
    SiteDatabase& operator=(const SiteDatabase&) = delete;

    std::string setting(const std::string& key, const std::string& fallback) const;
    void setSetting(const std::string& key, const std::string& value);

    int addAirline(const Airline& airline);
    int addPilot(const Pilot& pilot);
    int addAircraftType(const AircraftType& type);
    int addAircraft(const Aircraft& aircraft);
    void addAirport(const Airport& airport);
    int addRoute(const Route& route);
    // 0 when the user is unknown.
    int book(const Booking& booking, std::int64_t bookedUnixSeconds);
    void cancelBookings(const std::string& user);
    int addNews(const std::string& header, const std::string& text, int id);

    struct Login {
        int pilotId = 0;
        std::string passwordMd5;
    };
    std::optional<Login> findPilot(const std::string& user) const;
    FormFields pilotAnswer(int pilotId) const;
    // The pilot's newest booking that has no report yet.
    std::optional<int> openBooking(int pilotId) const;
    bool isBookingOf(const std::string& bookingId, int pilotId) const;
    // Every key "getroute" answers, in order, overrides applied.
    FormFields routeAnswer(int bookingId) const;
    // Rows of "lon", "lat", "id", "icao", "fuel", nearest to the box's centre first.
    std::vector<FormFields> airportsInBox(double lon1, double lon2, double lat1, double lat2) const;
    std::optional<double> fuelPrice(const std::string& icao) const;
    std::optional<FormFields> latestNews() const;

    // The flight starts over: its live position, phase and positions go.
    void resetFlight(int bookingId);
    void clearPositionLog(const std::string& bookingId);
    void storeTrackerUpdate(int bookingId, const FormFields& fields, std::int64_t receivedMs);
    void storePositionLog(const FormFields& fields, std::int64_t receivedMs);
    void storeEventLog(const FormFields& fields, std::int64_t receivedMs);
    bool hasReportForLog(const std::string& logId) const;
    bool isReportOf(const std::string& reportId, int pilotId) const;
    // Stores the report, closes the booking and returns the new ReportId.
    int storeReport(const std::string& bookingId, const FormFields& fields,
                    std::int64_t receivedMs);

    std::int64_t addRequest(const std::string& function, const std::string& body,
                            std::int64_t receivedMs);
    void finishRequest(std::int64_t requestId, const std::string& answer,
                       const std::string& problem, Failure::Kind injected);
    // function empty: all.
    std::vector<ReceivedRequest> requests(const std::string& function) const;
    std::size_t handledRequests(const std::string& function) const;
    void clearRequests();

    std::vector<Record> reports() const;
    std::vector<Record> positionLogs() const;
    std::vector<Record> eventLogs() const;
    std::vector<Record> trackerUpdates() const;
    std::vector<Record> flightLogs() const;

private:
    void createSchema();
    void exec(const std::string& sql) const;
    std::vector<Record> readRecords(const std::string& sql) const;
    void insertFormFields(const std::string& table, const std::string& function,
                          const FormFields& fields, const std::string& siteColumns,
                          const std::vector<std::string>& siteValues, bool replace);

    sqlite3* m_db = nullptr;
};

}  // namespace testbed
