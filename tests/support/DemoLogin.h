// Logging in at the stand-in website as its demo pilot, as a run of the
// plug-in does: the pilot and the booked flight read into the records.
#pragma once

#include <gtest/gtest.h>

#include "CClientInterface.h"
#include "testbed/Website.h"

namespace quelby_test {

inline void logInAsDemoPilot(CClientInterface& client, const testbed::Website& site) {
    client.setHost(site.url());
    client.setLoginData("demo", CClientInterface::md5Hex("demo", 4).c_str());
    ASSERT_EQ(client.readPilot(), 0);
    ASSERT_EQ(client.readRoute(), 0);
}

}  // namespace quelby_test
