// The website functions against the stand-in airline website over loopback:
// every way the site can fail gives its result code, and no request the
// client made may fail the site's own check of the formats and the code.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CSingleton.h"
#include "TestSupport.h"
#include "testbed/Website.h"

using namespace std::chrono_literals;

namespace {

class WebsiteRoundTripTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        ASSERT_TRUE(site.start());
        site.seedDemo();
        client.setHost(site.url());
        // The site knows the password by its digest, as the login sends it.
        client.setLoginData("demo", CClientInterface::md5Hex("demo", 4).c_str());
    }
    void TearDown() override {
        for (const testbed::ReceivedRequest& request : site.requests()) {
            if (request.injected != testbed::Failure::Kind::None) continue;
            EXPECT_EQ(request.answer.find("DATASTART\nINVALID"), std::string::npos)
                << request.function << ": " << request.problem << "\n"
                << request.body;
            EXPECT_EQ(request.answer.find("DATASTART\nWRONG CODE"), std::string::npos)
                << request.function << ": " << request.body;
        }
        CSingleton<CIniParser>::destroyInstance();
    }
    void logIn() {
        ASSERT_EQ(client.readPilot(), 0);
        ASSERT_EQ(client.readRoute(), 0);
    }

    quelby_test::ScratchFolder folder{"quelby-site"};
    quelby_test::LogInto logInto{folder.path()};
    testbed::Website site;
    CClientInterface client;
};

TEST_F(WebsiteRoundTripTest, ServerErrorOrNoAnswer_failTheRequest_butASlowAnswerIsWaitedFor) {
    struct Case {
        const char* name;
        testbed::Failure failure;
        int result;
    };
    site.setNoAnswerLimit(300ms);
    const Case cases[] = {
        // Broken frames, oversized answers and refused connections are the
        // transport's own test.
        {"http 500", testbed::Failure::httpError(500), 5},
        {"no answer", testbed::Failure::noAnswer(), 5},
        {"slow", testbed::Failure::delay(300), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        site.injectFailure("getpilot", c.failure);
        EXPECT_EQ(client.readPilot(), c.result);
        EXPECT_EQ(client.getLastResult(), c.result);
    }
    site.clearFailures();
}

// On a real network an answer longer than one segment arrives in several
// blocks; the client puts them together, up to its limit for one answer.
TEST_F(WebsiteRoundTripTest, AnswerInManyPieces_isPutTogether_andStillLimitedInAll) {
    site.setAnswerPieces(64, 2ms);
    logIn();
    const auto answers = site.requests("getroute");
    ASSERT_EQ(answers.size(), 1u);
    ASSERT_GT(answers[0].answer.size(), 5 * 64u) << "the answer came in one piece";
    EXPECT_EQ(recordText(client.m_route.Arr), "EDDS");

    site.injectFailure("getpilot", testbed::Failure::oversized(), 1);
    EXPECT_EQ(client.readPilot(), 5) << "an answer over the limit in pieces";
    EXPECT_EQ(client.readPilot(), 0);
}

TEST_F(WebsiteRoundTripTest, EveryFunction_reportsARefusedConnectionAndAWordAnswer) {
    logIn();
    const std::pair<const char*, std::function<int()>> functions[] = {
        {"getpilot", [&] { return client.readPilot(); }},
        {"getroute", [&] { return client.readRoute(); }},
        {"getnews", [&] { return client.readNews(); }},
        {"gettimestamp", [&] { return client.readTimestamp(); }},
        {"getversion", [&] { return client.readClient(); }},
        {"getclosestairport", [&] { return client.readClosestAirport(20.0, 20.0); }},
        {"getfuelprice",
         [&] {
             client.readFuelPrice("ZZZZ");
             return client.getLastResult();
         }},
        {"resetflight", [&] { return client.resetFlight(); }},
        {"resetpositionlog", [&] { return client.resetPositionLog(); }},
        {"writepositionlog",
         [&] {
             client.writePositionLog();
             return client.getLastResult();
         }},
        {"writeeventlog",
         [&] {
             const Blackbox::tDataRecord event{};
             client.writeEventLog(&event);
             return client.getLastResult();
         }},
        {"writereport",
         [&] {
             client.writeReport(false);
             return client.getLastResult();
         }},
    };
    for (const auto& [function, call] : functions) {
        SCOPED_TRACE(function);
        site.injectFailure(function, testbed::Failure::refuse(), 1);
        EXPECT_EQ(call(), CClientInterface::kCouldNotOpenUrl);
        site.injectFailure(function, testbed::Failure::answerWord("INVALID"), 1);
        EXPECT_EQ(call(), CClientInterface::kInvalid);
    }
    // A failed fuel-price request prices the fuel at 0.
    site.injectFailure("getfuelprice", testbed::Failure::refuse(), 1);
    EXPECT_EQ(client.readFuelPrice("ZZZZ"), 0.0f);
}

}  // namespace
