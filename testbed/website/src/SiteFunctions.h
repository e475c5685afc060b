// What the site answers to each of the client's thirteen functions: the
// request's checks (format, request code, credentials) and its effect on the
// database.
#pragma once

#include <cstdint>
#include <string>

#include "Answer.h"
#include "SiteDatabase.h"

namespace testbed {

struct SiteContext {
    std::int64_t nowMs = 0;  // Unix time
    bool strictFormat = true;
};

struct SiteOutcome {
    Answer answer;
    std::string problem;  // why a request was turned down; empty when it was not
};

// The caller holds the database for the whole call.
SiteOutcome answerRequest(SiteDatabase& db, const std::string& body, const FormFields& fields,
                          const SiteContext& context);

}  // namespace testbed
