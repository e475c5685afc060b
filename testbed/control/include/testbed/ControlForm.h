// The form of the website's control requests, by which a program in another
// process steers a running stand-in website: a request is one form line, an
// answer one form line per record. Keys and values are percent-encoded, so
// that any text (blanks, '&', '=', '|', line breaks) comes through whole.
//
// Threads: plain functions, callable from any thread.
#pragma once

#include <string>
#include <vector>

#include "testbed/Website.h"

namespace testbed {

// The website answers control requests here, beside the client's script:
// POST a form line "command=NAME&key=value...". The answer is 200 with one
// form line per record, each ended by '\n'; a refused request answers 400 (a
// bad request) or 500 (the site failed) with the one line "error=WHY".
inline constexpr const char* kWebsiteControlPath = "/testbed/control";

// "key=value&key=value", every key and value percent-encoded.
std::string encodeFormLine(const FormFields& fields);
// The reverse, cut as the website cuts the client's bodies: on '&', then on
// the first '='; a piece without '=' is a key with an empty value.
FormFields decodeFormLine(const std::string& line);
// Lines each ended by '\n'; a last line without it counts as well.
std::vector<FormFields> decodeFormLines(const std::string& text);

// The first value of key, or nullptr.
const std::string* findFormValue(const FormFields& fields, const std::string& key);
// A whole decimal number in int's range; throws std::invalid_argument naming
// key otherwise.
int formNumber(const std::string& text, const std::string& key);

// A failure as fields: "failure" (the kind's name, as in Failure::Kind),
// "word", "delayMs" and "status" where the kind uses them.
FormFields failureFields(const Failure& failure);
// Reads those fields back and ignores any others. Throws
// std::invalid_argument naming what is wrong: no or an unknown kind, a
// missing word or delay, a number that is not one.
Failure failureFromFields(const FormFields& fields);
const char* failureKindName(Failure::Kind kind);

}  // namespace testbed
