// The site's answers: "DATASTART", a result word, for data a header line and
// rows of fields joined with '|', "DATAEND"; kept within the client's block.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace testbed {

// The client takes an answer in one block of at most 4096 bytes and keeps it
// as text, so an answer leaves room for the terminator.
inline constexpr std::size_t kMaxAnswerBytes = 4095;

struct Answer {
    std::string word = "SUCCESS";
    std::vector<std::string> header;  // empty: no data, "DATAEND" follows the word
    std::vector<std::vector<std::string>> rows;

    static Answer failure(const std::string& word);
    // One row from name/value pairs, in order.
    static Answer singleRow(const std::vector<std::pair<std::string, std::string>>& fields);
};

// The framed text. Values lose '|' and line breaks (the frame has no
// escaping); when the text would exceed maxBytes, trailing rows are dropped
// first and then the longest values shortened.
std::string renderAnswer(Answer answer, std::size_t maxBytes = kMaxAnswerBytes);

// A framed answer with its "DATAEND" line removed.
std::string withoutDataEnd(const std::string& framed);
// A framed answer with a filler line before "DATAEND" that makes it at least
// minBytes long. The filler line alone is longer than the client's block, so
// however the transfer splits the answer, no block the client keeps is whole.
std::string oversized(const std::string& framed, std::size_t minBytes);

// Numbers in the "C" form whatever the process's locale: fixed decimals, or
// the shortest text that reads back as the same value.
std::string formatFixed(double value, int decimals);
std::string formatShortest(double value);

}  // namespace testbed
