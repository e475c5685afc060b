// Percent-encoding the control requests' form lines with libcurl, and a
// failure to and from its fields.
#include "testbed/ControlForm.h"

#include <curl/curl.h>

#include <charconv>
#include <limits>
#include <memory>
#include <stdexcept>

#include "CurlSetUp.h"

namespace testbed {

namespace {

// curl's escaping takes a handle (older versions read their settings from
// it), so each line is coded with one of its own.
class CurlCoder {
public:
    CurlCoder() {
        setUpCurl();
        m_curl = curl_easy_init();
        if (m_curl == nullptr) {
            throw std::runtime_error("libcurl cannot make a handle");
        }
    }
    ~CurlCoder() { curl_easy_cleanup(m_curl); }
    CurlCoder(const CurlCoder&) = delete;
    CurlCoder& operator=(const CurlCoder&) = delete;

    std::string escape(const std::string& text) const {
        return owned(curl_easy_escape(m_curl, text.data(), length(text)), nullptr);
    }
    std::string unescape(const std::string& text) const {
        int size = 0;
        return owned(curl_easy_unescape(m_curl, text.data(), length(text), &size), &size);
    }

private:
    static int length(const std::string& text) {
        if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw std::length_error("a control text beyond 2 GB");
        }
        return static_cast<int>(text.size());
    }
    // Unescaped text may hold zero bytes, so its size is taken as told.
    static std::string owned(char* text, const int* size) {
        if (text == nullptr) {
            throw std::runtime_error("libcurl cannot code a control text");
        }
        std::unique_ptr<char, decltype(&curl_free)> hold(text, &curl_free);
        return size != nullptr ? std::string(text, static_cast<std::size_t>(*size))
                               : std::string(text);
    }

    CURL* m_curl = nullptr;
};

struct KindName {
    Failure::Kind kind;
    const char* name;
};
constexpr KindName kKindNames[] = {
    {Failure::Kind::None, "None"},
    {Failure::Kind::Word, "Word"},
    {Failure::Kind::NoAnswer, "NoAnswer"},
    {Failure::Kind::Delay, "Delay"},
    {Failure::Kind::HttpError, "HttpError"},
    {Failure::Kind::Garbage, "Garbage"},
    {Failure::Kind::MissingDataEnd, "MissingDataEnd"},
    {Failure::Kind::Oversized, "Oversized"},
    {Failure::Kind::Refuse, "Refuse"},
};

}  // namespace

std::string encodeFormLine(const FormFields& fields) {
    const CurlCoder coder;
    std::string line;
    for (const auto& [key, value] : fields) {
        if (!line.empty()) {
            line += '&';
        }
        line += coder.escape(key) + '=' + coder.escape(value);
    }
    return line;
}

FormFields decodeFormLine(const std::string& line) {
    const CurlCoder coder;
    FormFields fields;
    std::size_t start = 0;
    while (start < line.size()) {
        std::size_t end = line.find('&', start);
        if (end == std::string::npos) {
            end = line.size();
        }
        const std::string piece = line.substr(start, end - start);
        if (!piece.empty()) {
            const std::size_t equals = piece.find('=');
            if (equals == std::string::npos) {
                fields.emplace_back(coder.unescape(piece), std::string());
            } else {
                fields.emplace_back(coder.unescape(piece.substr(0, equals)),
                                    coder.unescape(piece.substr(equals + 1)));
            }
        }
        start = end + 1;
    }
    return fields;
}

std::vector<FormFields> decodeFormLines(const std::string& text) {
    std::vector<FormFields> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        lines.push_back(decodeFormLine(text.substr(start, end - start)));
        start = end + 1;
    }
    return lines;
}

const std::string* findFormValue(const FormFields& fields, const std::string& key) {
    for (const auto& field : fields) {
        if (field.first == key) {
            return &field.second;
        }
    }
    return nullptr;
}

int formNumber(const std::string& text, const std::string& key) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (text.empty() || error != std::errc() || stop != end) {
        throw std::invalid_argument(key + " is not a whole number: \"" + text + "\"");
    }
    return number;
}

const char* failureKindName(Failure::Kind kind) {
    for (const KindName& each : kKindNames) {
        if (each.kind == kind) {
            return each.name;
        }
    }
    return "?";
}

FormFields failureFields(const Failure& failure) {
    FormFields fields = {{"failure", failureKindName(failure.kind)}};
    switch (failure.kind) {
        case Failure::Kind::Word:
            fields.emplace_back("word", failure.word);
            break;
        case Failure::Kind::Delay:
            fields.emplace_back("delayMs", std::to_string(failure.delayMs));
            break;
        case Failure::Kind::HttpError:
            fields.emplace_back("status", std::to_string(failure.httpStatus));
            break;
        default:
            break;
    }
    return fields;
}

Failure failureFromFields(const FormFields& fields) {
    const std::string* name = findFormValue(fields, "failure");
    if (name == nullptr) {
        throw std::invalid_argument("no failure given");
    }
    const KindName* known = nullptr;
    for (const KindName& each : kKindNames) {
        if (*name == each.name) {
            known = &each;
        }
    }
    if (known == nullptr) {
        throw std::invalid_argument("unknown failure \"" + *name + "\"");
    }
    auto required = [&](const char* key) -> const std::string& {
        const std::string* value = findFormValue(fields, key);
        if (value == nullptr) {
            throw std::invalid_argument(std::string("failure ") + known->name + " needs " + key);
        }
        return *value;
    };
    switch (known->kind) {
        case Failure::Kind::None:
            return Failure::none();
        case Failure::Kind::Word:
            return Failure::answerWord(required("word"));
        case Failure::Kind::NoAnswer:
            return Failure::noAnswer();
        case Failure::Kind::Delay: {
            const int delayMs = formNumber(required("delayMs"), "delayMs");
            if (delayMs < 0) {
                throw std::invalid_argument("delayMs is negative");
            }
            return Failure::delay(delayMs);
        }
        case Failure::Kind::HttpError: {
            const std::string* status = findFormValue(fields, "status");
            if (status == nullptr) {
                return Failure::httpError();
            }
            // The server sends whatever it is given; a status outside HTTP's
            // range would make a reply that no client reads.
            const int number = formNumber(*status, "status");
            if (number < 100 || number > 599) {
                throw std::invalid_argument("status " + *status + " is not an HTTP status");
            }
            return Failure::httpError(number);
        }
        case Failure::Kind::Garbage:
            return Failure::garbage();
        case Failure::Kind::MissingDataEnd:
            return Failure::missingDataEnd();
        case Failure::Kind::Oversized:
            return Failure::oversized();
        case Failure::Kind::Refuse:
            return Failure::refuse();
    }
    throw std::invalid_argument("unknown failure \"" + *name + "\"");
}

}  // namespace testbed
