// The client's thirteen request formats as the site knows them: the keys of
// each function's body in order, and whether the body carries a request code.
#pragma once

#include <string>
#include <vector>

namespace testbed {

struct RequestFormat {
    std::string function;
    // The keys after "function", in order, repeats included, without "code".
    std::vector<std::string> keys;
    bool carriesCode = false;
};

// nullptr for a function the site does not know.
const RequestFormat* findRequestFormat(const std::string& function);

// The keys of a format, each once, in their first order: the columns of the
// tables that keep what the function sends.
std::vector<std::string> distinctKeys(const RequestFormat& format);

// Empty when the body's keys are the format's; else what differs.
std::string formatMismatch(const RequestFormat& format, const std::vector<std::string>& bodyKeys);

}  // namespace testbed
