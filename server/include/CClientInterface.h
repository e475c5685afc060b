// The client's only link to the airline's website: one HTTP POST per request
// to the site's client script, the framed answer cut into lines and fields,
// the request code, and the records the answers fill.
//
// Threads: every blocking request comes from the client thread, one at a
// time; the request and response buffers, the answer and the records take no
// lock. writeLog() hands a copy of its request to a thread of its own, which
// touches nothing here afterwards; joinSenders() waits for those threads.
// abortTransfers() may be called from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "CBookedFlight.h"
#include "ServerRecords.h"

class CLogger;

namespace Blackbox {
struct tDataRecord;
}

// One line of an answer, cut into fields at every "|". The lines of one
// answer share one text and one field table, which the interface keeps and
// reuses: reading an answer of many lines allocates nothing per line.
struct ClientDataLine {
    static constexpr int kTextBytes = 4096;
    static constexpr int kMaxFields = 128;

    std::size_t firstField = 0;  // this line's first entry in the field table
    int fieldCount = 1;

    // Takes line (without its line break): appends its text to text, each
    // cutting "|" made a NUL, and where each field begins to fieldStarts. A
    // line longer than kTextBytes is cut; past the last field slot the rest
    // stays in the last field.
    void parse(const char* line, std::string& text, std::vector<std::size_t>& fieldStarts);
};

class CClientInterface : public CAnswerFields, public CBookedFlight {
public:
    // Result codes; the words of clientMessages are indexed by them.
    enum Result {
        kSuccess = 0,
        kNoUser = 1,
        kNotFound = 2,
        kInvalid = 3,
        kBadData = 4,
        kCouldNotOpenUrl = 5,
        kInitFailed = 6,
        kWrongCode = 7,
        kAlreadyUploaded = 8,
        kNoLog = 9,
        kBadLoginData = 10,
    };
    static const char* const clientMessages[11];

    // Request and answer sizes. An answer arrives as one block of at most
    // kResponseBytes; the request buffer holds the longest request the
    // records allow (a report with every text full).
    static constexpr int kResponseBytes = 4096;
    static constexpr int kRequestBytes = 16384;
    static constexpr long kTimeoutSeconds = 60;
    // A website that does not take the connection within the connect
    // time-out, or sends less than a byte a second for the low-speed time,
    // fails the request long before its whole time-out.
    static constexpr long kConnectTimeoutSeconds = 10;
    static constexpr long kLowSpeedSeconds = 15;

    CClientInterface();
    ~CClientInterface() override;
    CClientInterface(const CClientInterface&) = delete;
    CClientInterface& operator=(const CClientInterface&) = delete;

    // --- transport ---
    void setHost(const std::string& host);
    const std::string& getHost() const { return m_host; }
    // The script's address: the host with its port if it has one, followed
    // by the script path; its scheme in lower case, "http://" when the host
    // names none.
    std::string getUrl() const;
    void setLoginData(const char* user, const char* pass);
    // Speaks to other's website as the same client (its intern_ts): a second
    // link, for requests on a thread of their own while other serves the
    // client thread.
    void shareIdentity(const CClientInterface& other);
    int getSystemInfo(char* buffer, std::size_t size) const;
    const std::string& getSystemToken() const { return m_systemToken; }
    int getInternTs() const { return m_internTs; }
    const std::string& getHomepage() const { return m_homepage; }

    int readURL(const char* request);
    static void callURLAsync(const std::string& url, const std::string& body);
    // MD5 of a text as 32 lower-case hexadecimal digits.
    static std::string md5Hex(const char* text, std::size_t length);
    // The request code of a request text: digits 10, 5 and 2 of its MD5.
    static std::string calcCode(const char* request);

    int getData(const char* key, int row, char* out, int max) override;
    int getData(const char* key, int row, int& out);
    int getData(const char* key, int row, float& out);
    int getData(const char* key, int row, double& out);
    void clearData();
    // Drops everything the website's answers left: the rows, the records,
    // the cached airports and prices, as a client made afresh has them.
    void forgetAnswers();
    int setError(int code);
    int isUploaded(int index) const;
    bool isConnected();

    int getLastResult() const { return m_lastResult; }
    const char* getLastMessage() const { return m_lastMessage; }
    // The text of the last request as sent (or the "%s(%d)" of setError).
    const char* getRequestText() const { return m_request.data(); }

    // Makes every transfer in progress, now or later, end at once as failed:
    // the plug-in calls it while stopping, so that no web request can hold
    // the simulator's stop for its whole time-out.
    static void abortTransfers(bool abort);
    // Shorter waits for a silent website, so that tests need not sit out the
    // real ones; (kConnectTimeoutSeconds * 1000, kLowSpeedSeconds) restores them.
    static void setStallLimitsForTests(long connectTimeoutMs, long lowSpeedSeconds);
    // Waits until every "writelog" thread has ended; with transfers aborted
    // that takes a moment. The plug-in calls it while stopping, after the
    // client thread has ended: code of an unloaded plug-in must not run.
    static void joinSenders();

    // --- server functions ---
    int readPilot();
    int readRoute();
    int readClosestAirport(double lon, double lat);
    int readNews();
    float readFuelPrice(const char* icao);
    int readTimestamp();
    int readClient();
    int resetFlight();
    int resetPositionLog();
    int writeLog();
    int writePositionLog();
    // One event of the flight recorder's log: its time, speed, phase name and
    // text. Returns 1 when the website took it, 0 otherwise (or for null).
    int writeEventLog(const Blackbox::tDataRecord* record);
    int writeReport(bool manual);

    // The nearest cached airport to a position (degrees), or "" when none
    // qualifies; with the limit on, only airports within 0.05 degrees.
    std::string nearestCachedAirport(double lon, double lat, bool limit) const;

    // --- what the simulator adapter needs of the booked flight ---
    int getBookedEngines() const override { return m_aircraftType.Engines; }
    int getBookedMtowKg() const override { return m_aircraftType.MTOW; }
    int getDryOperatingWeightKg() const override { return m_aircraftType.DOW; }
    int getPassengers() const override;
    int getCargoKg() const override;
    bool findNearestAirport(double latitudeDeg, double longitudeDeg, char icao[5]) override;

    // --- the records the answers fill ---
    tTarvex_Pilots m_pilot;
    tTarvex_Routes m_route;
    tTarvex_Logs m_log;
    tTarvex_Aircrafts m_aircraft;
    tTarvex_VirtualAirlines m_virtualAirline;
    tAircraftTypeData m_aircraftType;
    tTarvex_News_Client m_news;
    tTarvex_Reports m_report;
    CAirportCache m_airports;
    // The five version texts of "getversion".
    char m_versions[5][33];
    // The nearest airport found by readClosestAirport.
    char m_closestAirport[5];
    double m_fuelPrice = 0.0;

    // The position that writePositionLog sends; the tracker fills it.
    tquelby_position_logs m_position{};

protected:
    // Posts one request and leaves the answer's bytes in the response buffer.
    // Returns kSuccess, or kInitFailed / kCouldNotOpenUrl (logged) when no
    // answer came. Hosts that get their answers some other way (the fuzzers
    // replay recorded ones) replace it and hand the bytes to takeResponse.
    virtual int transfer(const char* request);
    // Takes count bytes as the answer to the request in flight, under the
    // transport's own rule: an answer of more than kResponseBytes in all is a
    // failed transfer (kCouldNotOpenUrl, logged). Bytes after a NUL are never read.
    int takeResponse(const char* bytes, std::size_t count);

private:
    // Sends body to url on a thread of its own, kept for joinSenders().
    static void startSender(const std::string& url, const std::string& body);
    // Formats a request into the request buffer; false (logged) when it does
    // not fit, which the buffer's size rules out for every record content.
    bool format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // Appends "&code=" and the request code.
    bool appendCode();
    // Sends the request just formatted (with its code when the site wants
    // one); a request that could not be formatted is not sent.
    int send(bool formatted, bool withCode);
    int parseAnswer();
    // An answer as the log may show it: the login's password digest and the
    // pilot's password, which the website sends back, are left out.
    std::string loggableAnswer() const;
    bool appendLine(const char* line, bool header);
    // Field column of line, as text.
    const char* fieldText(const ClientDataLine& line, int column) const;
    // The field named key in answer row (0 is the first after the header),
    // or nullptr.
    const char* findField(const char* key, int row) const;
    void setClosestAirport(const std::string& icao);

    std::unique_ptr<CLogger> m_pLogger;
    std::string m_host;
    char m_loginUser[64];
    char m_loginPassword[128];
    int m_internTs;
    std::string m_systemToken;
    std::string m_homepage;
    std::vector<char> m_request;
    char m_response[kResponseBytes + 1];
    char m_transferError[256];
    // The answer read last: its lines (the header first), their text and
    // where each field begins in it.
    std::vector<ClientDataLine> m_lines;
    std::string m_lineText;
    std::vector<std::size_t> m_fieldStarts;
    int m_lastResult = 0;
    char m_lastMessage[256];
};
