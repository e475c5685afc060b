// The website's control requests (testbed/ControlForm.h): a program in
// another process sets the site up, makes it fail and reads back what it
// stored through them, as a test in this process does through the C++ API.
//
// Threads: the HTTP server's; the site's methods take their own locks.
#pragma once

#include <string>

#include "testbed/Website.h"

namespace testbed {

struct ControlAnswer {
    int status = 200;
    std::string body;
};

// Does what body asks of site and says what came of it; a request the site
// cannot read answers 400 with the reason, never throws.
ControlAnswer answerControlRequest(Website& site, const std::string& body);

}  // namespace testbed
