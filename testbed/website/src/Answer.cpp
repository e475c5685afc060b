// Framing, bounding and damaging the site's answers.
#include "Answer.h"

#include <algorithm>
#include <charconv>

namespace testbed {

namespace {

std::string cleanValue(std::string value) {
    for (char& c : value) {
        if (c == '|') {
            c = '/';
        } else if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return value;
}

std::string joinLine(const std::vector<std::string>& values) {
    std::string line;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            line += '|';
        }
        line += cleanValue(values[i]);
    }
    line += '\n';
    return line;
}

std::string frame(const Answer& answer) {
    std::string text = "DATASTART\n" + cleanValue(answer.word) + "\n";
    if (answer.word == "SUCCESS" && !answer.header.empty()) {
        text += joinLine(answer.header);
        for (const auto& row : answer.rows) {
            text += joinLine(row);
        }
    }
    text += "DATAEND\n";
    return text;
}

}  // namespace

Answer Answer::failure(const std::string& word) {
    Answer answer;
    answer.word = word;
    return answer;
}

Answer Answer::singleRow(const std::vector<std::pair<std::string, std::string>>& fields) {
    Answer answer;
    answer.rows.emplace_back();
    for (const auto& field : fields) {
        answer.header.push_back(field.first);
        answer.rows.back().push_back(field.second);
    }
    return answer;
}

std::string renderAnswer(Answer answer, std::size_t maxBytes) {
    std::string text = frame(answer);
    while (text.size() > maxBytes && answer.rows.size() > 1) {
        answer.rows.pop_back();
        text = frame(answer);
    }
    while (text.size() > maxBytes) {
        std::string* longest = nullptr;
        for (auto& row : answer.rows) {
            for (auto& value : row) {
                if (longest == nullptr || value.size() > longest->size()) {
                    longest = &value;
                }
            }
        }
        if (longest == nullptr || longest->empty()) {
            break;  // the header alone is too long; nothing more to give up
        }
        const std::size_t excess = text.size() - maxBytes;
        longest->resize(longest->size() > excess ? longest->size() - excess : 0);
        text = frame(answer);
    }
    return text;
}

std::string withoutDataEnd(const std::string& framed) {
    static const std::string kEnd = "DATAEND\n";
    const std::size_t at = framed.rfind(kEnd);
    if (at == std::string::npos) {
        return framed;
    }
    return framed.substr(0, at) + framed.substr(at + kEnd.size());
}

std::string oversized(const std::string& framed, std::size_t minBytes) {
    static const std::string kEnd = "DATAEND\n";
    const std::size_t fillerBytes = std::max<std::size_t>(
        kMaxAnswerBytes + 2, minBytes > framed.size() ? minBytes - framed.size() : 0);
    const std::string filler = std::string(fillerBytes, 'x') + "\n";
    const std::size_t at = framed.rfind(kEnd);
    if (at == std::string::npos) {
        return framed + filler;
    }
    return framed.substr(0, at) + filler + framed.substr(at);
}

std::string formatFixed(double value, int decimals) {
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    return std::string(buffer, result.ptr);
}

std::string formatShortest(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

}  // namespace testbed
