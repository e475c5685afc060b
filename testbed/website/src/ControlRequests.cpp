// Each control command with the fields it takes, read strictly: a test
// program's misspelt field is reported, not ignored.
#include "ControlRequests.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <map>
#include <stdexcept>
#include <vector>

#include "testbed/ControlForm.h"

namespace testbed {

namespace {

// The request's fault; answered 400.
class BadRequest : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// A request's fields after "command", with the ones the command takes.
class Arguments {
public:
    Arguments(const std::string& command, FormFields fields, std::vector<std::string> known)
        : m_command(command), m_fields(std::move(fields)) {
        for (const auto& field : m_fields) {
            if (std::find(known.begin(), known.end(), field.first) == known.end()) {
                throw BadRequest(command + " takes no field \"" + field.first + "\"");
            }
            if (std::count_if(m_fields.begin(), m_fields.end(),
                              [&](const auto& other) { return other.first == field.first; }) > 1) {
                throw BadRequest(command + " got \"" + field.first + "\" more than once");
            }
        }
    }

    const FormFields& fields() const { return m_fields; }
    const std::string& text(const std::string& key) const {
        const std::string* value = findFormValue(m_fields, key);
        if (value == nullptr) {
            throw BadRequest(m_command + " needs \"" + key + "\"");
        }
        return *value;
    }
    int number(const std::string& key, int fallback) const {
        const std::string* value = findFormValue(m_fields, key);
        if (value == nullptr) {
            return fallback;
        }
        try {
            return formNumber(*value, key);
        } catch (const std::invalid_argument& error) {
            throw BadRequest(m_command + ": " + error.what());
        }
    }

private:
    std::string m_command;
    FormFields m_fields;
};

std::string line(const FormFields& fields) { return encodeFormLine(fields) + "\n"; }

std::string idLine(int id) { return line({{"id", std::to_string(id)}}); }

std::string recordLines(const std::vector<Record>& records) {
    std::string text;
    for (const Record& record : records) {
        text += line(FormFields(record.begin(), record.end()));
    }
    return text;
}

struct Command {
    std::vector<std::string> fields;
    std::function<std::string(Website&, const Arguments&)> run;
};

const std::map<std::string, Command>& commands() {
    static const std::map<std::string, Command> kCommands = {
        {"url",
         {{},
          [](Website& site, const Arguments&) {
              return line({{"url", site.url()}});
          }}},
        {"seedDemo",
         {{},
          [](Website& site, const Arguments&) {
              site.seedDemo();
              return std::string();
          }}},
        {"cancelBookings",
         {{"user"},
          [](Website& site, const Arguments& args) {
              site.cancelBookings(args.text("user"));
              return std::string();
          }}},
        {"addNews",
         {{"header", "text", "id"},
          [](Website& site, const Arguments& args) {
              return idLine(
                  site.addNews(args.text("header"), args.text("text"), args.number("id", 0)));
          }}},
        {"bookDemoFlight",
         {{"routeId", "aircraftId", "bookingId"},
          [](Website& site, const Arguments& args) {
              return idLine(site.bookDemoFlight(args.number("routeId", 1),
                                                args.number("aircraftId", 1),
                                                args.number("bookingId", 0)));
          }}},
        {"injectFailure",
         {{"function", "failure", "word", "delayMs", "status", "times"},
          [](Website& site, const Arguments& args) {
              Failure failure;
              try {
                  failure = failureFromFields(args.fields());
              } catch (const std::invalid_argument& error) {
                  throw BadRequest(std::string("injectFailure: ") + error.what());
              }
              const int times = args.number("times", 0);
              if (times < 0) {
                  throw BadRequest("injectFailure: times is negative");
              }
              site.injectFailure(args.text("function"), failure, times);
              return std::string();
          }}},
        {"reports",
         {{}, [](Website& site, const Arguments&) { return recordLines(site.reports()); }}},
        {"positionLogs",
         {{}, [](Website& site, const Arguments&) { return recordLines(site.positionLogs()); }}},
        {"eventLogs",
         {{}, [](Website& site, const Arguments&) { return recordLines(site.eventLogs()); }}},
    };
    return kCommands;
}

}  // namespace

ControlAnswer answerControlRequest(Website& site, const std::string& body) {
    try {
        FormFields fields = decodeFormLine(body);
        if (fields.empty() || fields.front().first != "command") {
            throw BadRequest("a control request begins with \"command=\"");
        }
        const std::string name = fields.front().second;
        const auto found = commands().find(name);
        if (found == commands().end()) {
            throw BadRequest("unknown command \"" + name + "\"");
        }
        fields.erase(fields.begin());
        const Arguments args(name, std::move(fields), found->second.fields);
        return {200, found->second.run(site, args)};
    } catch (const BadRequest& error) {
        return {400, line({{"error", error.what()}})};
    } catch (const std::exception& error) {
        std::cerr << "quelby-website: control request failed: " << error.what() << "\n";
        return {500, line({{"error", std::string("the site failed: ") + error.what()}})};
    }
}

}  // namespace testbed
