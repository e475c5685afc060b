// The site's functions. Reading functions answer rows; writing functions need
// the request code and the pilot's credentials (user and the MD5 of the
// password) and answer "SUCCESS" without data, except "writereport", which
// answers the new "ReportId".
#include "SiteFunctions.h"

#include <charconv>
#include <functional>
#include <map>
#include <optional>

#include "FormBody.h"
#include "RequestFormats.h"

namespace testbed {

namespace {

struct Call {
    SiteDatabase& db;
    const FormFields& fields;
    const SiteContext& context;

    std::string value(const std::string& key) const {
        const std::string* found = findFormValue(fields, key);
        return found ? *found : std::string();
    }
};

SiteOutcome turnedDown(const std::string& word, const std::string& problem) {
    return {Answer::failure(word), problem};
}

SiteOutcome succeeded(Answer answer = Answer()) { return {std::move(answer), {}}; }

// The pilot whose user and pass the request carries, or the answer to give.
std::optional<int> authenticate(const Call& call, SiteOutcome& refusal) {
    const std::string user = call.value("user");
    const auto login = call.db.findPilot(user);
    if (!login) {
        refusal = turnedDown("NO USER", "unknown user \"" + user + "\"");
        return std::nullopt;
    }
    if (call.value("pass") != login->passwordMd5) {
        refusal = turnedDown("BAD LOGINDATA", "wrong password for \"" + user + "\"");
        return std::nullopt;
    }
    return login->pilotId;
}

std::optional<double> parseDegrees(const std::string& text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return value;
}

SiteOutcome getVersion(const Call& call) {
    return succeeded(Answer::singleRow({
        {"Version", call.db.setting("client_version", kWebsiteDefaultClientVersion)},
        {"BetaVersion", call.db.setting("client_beta_version", "")},
        {"FSUIPC_FS2004", "3.99"},
        {"FSUIPC_FSX", "4.97"},
        {"SimConnect", "10.0.61259.0"},
    }));
}

SiteOutcome getPilot(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    return succeeded(Answer::singleRow(call.db.pilotAnswer(*pilotId)));
}

SiteOutcome getNews(const Call& call) {
    const auto news = call.db.latestNews();
    if (!news) {
        return turnedDown("NOT FOUND", "no news");
    }
    return succeeded(Answer::singleRow(*news));
}

SiteOutcome getRoute(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    const auto booking = call.db.openBooking(*pilotId);
    if (!booking) {
        return turnedDown("NOT FOUND", "no open booking");
    }
    return succeeded(Answer::singleRow(call.db.routeAnswer(*booking)));
}

SiteOutcome getClosestAirport(const Call& call) {
    const auto lon1 = parseDegrees(call.value("Lon1"));
    const auto lon2 = parseDegrees(call.value("Lon2"));
    const auto lat1 = parseDegrees(call.value("Lat1"));
    const auto lat2 = parseDegrees(call.value("Lat2"));
    if (!lon1 || !lon2 || !lat1 || !lat2) {
        return turnedDown("INVALID", "Lon1, Lon2, Lat1 and Lat2 must be numbers");
    }
    const auto rows = call.db.airportsInBox(*lon1, *lon2, *lat1, *lat2);
    if (rows.empty()) {
        return turnedDown("NOT FOUND", "no airport in the box");
    }
    Answer answer;
    for (const auto& field : rows.front()) {
        answer.header.push_back(field.first);
    }
    for (const auto& row : rows) {
        answer.rows.emplace_back();
        for (const auto& field : row) {
            answer.rows.back().push_back(field.second);
        }
    }
    return succeeded(std::move(answer));
}

SiteOutcome getFuelPrice(const Call& call) {
    const auto price = call.db.fuelPrice(call.value("icao"));
    if (!price) {
        return turnedDown("NOT FOUND", "unknown airport \"" + call.value("icao") + "\"");
    }
    return succeeded(Answer::singleRow({{"fuel", formatShortest(*price)}}));
}

SiteOutcome getTimestamp(const Call& call) {
    return succeeded(
        Answer::singleRow({{"UNIX_TIMESTAMP()", std::to_string(call.context.nowMs / 1000)}}));
}

SiteOutcome resetFlight(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    const auto booking = call.db.openBooking(*pilotId);
    if (!booking) {
        return turnedDown("NOT FOUND", "no open booking");
    }
    call.db.resetFlight(*booking);
    return succeeded();
}

SiteOutcome resetPositionLog(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    if (!call.db.isBookingOf(call.value("logid"), *pilotId)) {
        return turnedDown("NO LOG", "no flight log " + call.value("logid") + " of this pilot");
    }
    call.db.clearPositionLog(call.value("logid"));
    return succeeded();
}

SiteOutcome writeLog(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    const auto booking = call.db.openBooking(*pilotId);
    if (!booking) {
        return turnedDown("NOT FOUND", "no open booking");
    }
    call.db.storeTrackerUpdate(*booking, call.fields, call.context.nowMs);
    return succeeded();
}

SiteOutcome writePositionLog(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    if (!call.db.isBookingOf(call.value("LogId"), *pilotId)) {
        return turnedDown("NO LOG", "no flight log " + call.value("LogId") + " of this pilot");
    }
    call.db.storePositionLog(call.fields, call.context.nowMs);
    return succeeded();
}

SiteOutcome writeEventLog(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    if (!call.db.isReportOf(call.value("reportid"), *pilotId)) {
        return turnedDown("NOT FOUND", "no report " + call.value("reportid") + " of this pilot");
    }
    call.db.storeEventLog(call.fields, call.context.nowMs);
    return succeeded();
}

SiteOutcome writeReport(const Call& call) {
    SiteOutcome refusal;
    const auto pilotId = authenticate(call, refusal);
    if (!pilotId) {
        return refusal;
    }
    const std::string logId = call.value("LogID");
    if (!call.db.isBookingOf(logId, *pilotId)) {
        return turnedDown("NO LOG", "no flight log " + logId + " of this pilot");
    }
    if (call.db.hasReportForLog(logId)) {
        return turnedDown("ALREADY UPLOADED", "flight log " + logId + " has its report");
    }
    const int reportId = call.db.storeReport(logId, call.fields, call.context.nowMs);
    return succeeded(Answer::singleRow({{"ReportId", std::to_string(reportId)}}));
}

using Function = SiteOutcome (*)(const Call&);

const std::map<std::string, Function>& functions() {
    static const std::map<std::string, Function> kFunctions = {
        {"getversion", getVersion},
        {"getpilot", getPilot},
        {"getnews", getNews},
        {"getroute", getRoute},
        {"getclosestairport", getClosestAirport},
        {"getfuelprice", getFuelPrice},
        {"gettimestamp", getTimestamp},
        {"resetflight", resetFlight},
        {"resetpositionlog", resetPositionLog},
        {"writelog", writeLog},
        {"writepositionlog", writePositionLog},
        {"writeeventlog", writeEventLog},
        {"writereport", writeReport},
    };
    return kFunctions;
}

}  // namespace

SiteOutcome answerRequest(SiteDatabase& db, const std::string& body, const FormFields& fields,
                          const SiteContext& context) {
    if (body.rfind("function=", 0) != 0) {
        return turnedDown("INVALID", "the body does not begin with \"function=\"");
    }
    const std::string& function = fields.front().second;
    const RequestFormat* format = findRequestFormat(function);
    const auto handler = functions().find(function);
    if (format == nullptr || handler == functions().end()) {
        return turnedDown("INVALID", "unknown function \"" + function + "\"");
    }
    if (format->carriesCode && !hasValidRequestCode(body)) {
        return turnedDown("WRONG CODE", "wrong or missing request code");
    }
    if (context.strictFormat) {
        std::vector<std::string> keys;
        for (std::size_t i = 1; i < fields.size(); ++i) {
            keys.push_back(fields[i].first);
        }
        if (format->carriesCode && !keys.empty() && keys.back() == "code") {
            keys.pop_back();
        }
        const std::string mismatch = formatMismatch(*format, keys);
        if (!mismatch.empty()) {
            return turnedDown("INVALID", mismatch);
        }
    }
    return handler->second(Call{db, fields, context});
}

}  // namespace testbed
