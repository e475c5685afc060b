// The stand-in website steered from outside through its control requests, as
// a program in another process does with RemoteWebsite: what the requests set
// up shows in the client's script, what they read back equals the C++ API's,
// and a request the site cannot read is refused with the reason.
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <string>
#include <vector>

#include "ClientBodies.h"
#include "testbed/ControlForm.h"
#include "testbed/RemoteWebsite.h"
#include "testbed/Website.h"

namespace {

using quelby_test::bodyOf;
using quelby_test::frameOf;
using quelby_test::kDemoPass;
using quelby_test::positionBody;
using quelby_test::readFrame;
using quelby_test::reportFields;
using quelby_test::withCode;
using testbed::Failure;
using testbed::FormFields;
using testbed::RemoteWebsite;
using testbed::Website;
using testbed::WebsiteControlError;
using Clock = std::chrono::steady_clock;

class WebsiteControlTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(site.start());
        remote = std::make_unique<RemoteWebsite>(site.url(), std::chrono::seconds(10));
        client = std::make_unique<httplib::Client>("127.0.0.1", site.port());
        client->set_read_timeout(10, 0);
    }

    httplib::Result postTo(const char* path, const std::string& body) {
        return client->Post(path, {{"Accept-Encoding", "identity"}}, body,
                            "application/x-www-form-urlencoded");
    }
    // The client script's answer; empty when none came.
    std::string script(const std::string& body) {
        const auto result = postTo(testbed::kWebsiteScript, body);
        return result ? result->body : std::string();
    }
    // The HTTP status of the script's answer; 0 when none came.
    int scriptStatus(const std::string& body) {
        const auto result = postTo(testbed::kWebsiteScript, body);
        return result ? result->status : 0;
    }

    Website site;
    std::unique_ptr<RemoteWebsite> remote;
    std::unique_ptr<httplib::Client> client;
};

const std::string kGetRoute = "function=getroute&intern_ts=3&user=demo&pass=" + kDemoPass;

TEST(ControlFormTest, AnyText_comesBackWhole_andALineHoldsNoBreak) {
    const FormFields fields = {
        {"plain", "text"},
        {"empty", ""},
        {"", "empty key"},
        {"a&b=c", "x&y=z"},
        {"blanks", "two  blanks and 100% + more"},
        {"breaks", "line\nbreak\r\n"},
        {"frame", "parking brakes | wrong airport | "},
        {"base64", "R29vZCBmbGlnaHQ+Pz8/"},
        {"utf8",
         "Gr\xc3\xbc\xc3\x9f"
         "e aus Stuttgart"},
        {"zero", std::string("a\0b", 3)},
    };
    const std::string line = testbed::encodeFormLine(fields);
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    EXPECT_EQ(testbed::decodeFormLine(line), fields) << line;

    // One record per line; an empty record is a line of its own.
    const std::vector<FormFields> records = {{{"n", "1"}}, {}, {{"n", "3"}, {"m", "a\nb"}}};
    std::string text;
    for (const FormFields& record : records) {
        text += testbed::encodeFormLine(record) + "\n";
    }
    EXPECT_EQ(testbed::decodeFormLines(text), records) << text;
}

TEST_F(WebsiteControlTest, DemoSetUp_takesEffectForTheClientsScript) {
    EXPECT_EQ(remote->url(), site.url());
    EXPECT_EQ(remote->siteUrl(), site.url());

    EXPECT_EQ(script(kGetRoute), frameOf("NO USER")) << "an empty site";
    remote->seedDemo();
    EXPECT_EQ(readFrame(script(kGetRoute)).value("r_Dep"), "EDDF");

    remote->cancelBookings("demo");
    EXPECT_EQ(script(kGetRoute), frameOf("NOT FOUND"));
    const int booking = remote->bookDemoFlight();
    EXPECT_GT(booking, 0);
    const auto route = readFrame(script(kGetRoute));
    EXPECT_EQ(route.value("l_ID"), std::to_string(booking));
    EXPECT_EQ(route.value("l_Passengers") + " " + route.value("l_Cargo"), "120 2000");

    const std::string header = "Fees & fares: 100% = fun";
    const std::string text =
        "Gr\xc3\xbc\xc3\x9f"
        "e aus Stuttgart + more";
    const int news = remote->addNews(header, text);
    const auto newsFrame = readFrame(script("function=getnews&intern_ts=1"));
    EXPECT_EQ(newsFrame.value("ID"), std::to_string(news));
    EXPECT_EQ(newsFrame.value("Header"), header);
    EXPECT_EQ(newsFrame.value("Text"), text);
    EXPECT_EQ(remote->addNews("Kept", "With its id", 40), 40);

    EXPECT_EQ(site.requests().size(), 5u) << "control requests are not the client's";
}

TEST_F(WebsiteControlTest, InjectedFailures_applyToTheScriptsNextRequests) {
    site.seedDemo();
    site.setNoAnswerLimit(std::chrono::milliseconds(200));
    const std::string request = "function=getversion&intern_ts=1";
    struct Case {
        Failure failure;
        // What the client sees: the status and the frame's word (empty: no
        // frame, or no answer at all).
        int status;
        std::string word;
    };
    const Case cases[] = {
        {Failure::httpError(503), 503, ""},
        {Failure::answerWord("NO LOG"), 200, "NO LOG"},
        {Failure::delay(300), 200, "SUCCESS"},
        {Failure::garbage(), 200, ""},
        {Failure::missingDataEnd(), 200, "SUCCESS"},
        {Failure::oversized(), 200, "SUCCESS"},
        {Failure::refuse(), 0, ""},
        {Failure::noAnswer(), 0, ""},
    };
    std::size_t sent = 0;
    for (const Case& c : cases) {
        const std::string kind = testbed::failureKindName(c.failure.kind);
        remote->injectFailure("getversion", c.failure, 1);
        const auto before = Clock::now();
        const auto result = postTo(testbed::kWebsiteScript, request);
        const auto taken = Clock::now() - before;
        // A dropped connection ends before the site has noted the request.
        ASSERT_TRUE(site.waitForRequests("getversion", ++sent, std::chrono::seconds(5))) << kind;
        ASSERT_EQ(static_cast<bool>(result), c.status != 0) << kind;
        if (result) {
            EXPECT_EQ(result->status, c.status) << kind;
            EXPECT_EQ(readFrame(result->body).word, c.word) << kind;
        }
        EXPECT_EQ(site.requests("getversion").back().injected, c.failure.kind) << kind;
        if (c.failure.kind == Failure::Kind::Delay) {
            EXPECT_GE(taken, std::chrono::milliseconds(300)) << kind;
        }
        EXPECT_EQ(readFrame(script(request)).word, "SUCCESS") << kind << " was for one request";
        ++sent;
    }

    // For every function, for a count of requests.
    remote->injectFailure("", Failure::answerWord("INVALID"), 2);
    EXPECT_EQ(script("function=getnews&intern_ts=1"), frameOf("INVALID"));
    EXPECT_EQ(script(kGetRoute), frameOf("INVALID"));
    EXPECT_EQ(readFrame(script(kGetRoute)).word, "SUCCESS");

    // Until cleared, and cleared by none.
    remote->injectFailure("getnews", Failure::httpError(), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(scriptStatus("function=getnews&intern_ts=1"), 500) << "request " << i;
    }
    remote->injectFailure("getnews", Failure::none(), 0);
    EXPECT_EQ(readFrame(script("function=getnews&intern_ts=1")).word, "SUCCESS");
}

TEST_F(WebsiteControlTest, StoredRecords_readBackAsTheSiteInThisProcessHasThem) {
    site.seedDemo();
    const auto report = readFrame(script(withCode(bodyOf("writereport", reportFields()))));
    ASSERT_EQ(report.word, "SUCCESS");
    const std::string reportId = report.value("ReportId");
    for (int position = 0; position < 3; ++position) {
        ASSERT_EQ(script(positionBody("1", position, reportId)), frameOf("SUCCESS"));
    }
    for (const char* text : {"Taxi speed 24 kts", "Lights: on | 100% = bright"}) {
        ASSERT_EQ(script(withCode("function=writeeventlog&intern_ts=7&user=demo&pass=" + kDemoPass +
                                  "&timestamp=95&speed=24&flightstate=Taxi&text=" + text +
                                  "&reportid=" + reportId)),
                  frameOf("SUCCESS"));
    }

    ASSERT_EQ(site.reports().size(), 1u);
    ASSERT_EQ(site.positionLogs().size(), 3u);
    ASSERT_EQ(site.eventLogs().size(), 2u);
    EXPECT_EQ(remote->reports(), site.reports());
    EXPECT_EQ(remote->positionLogs(), site.positionLogs());
    EXPECT_EQ(remote->eventLogs(), site.eventLogs());
}

TEST_F(WebsiteControlTest, BadRequests_areRefusedWithTheirReason_andChangeNothing) {
    site.seedDemo();
    struct Case {
        std::string body;
        std::string reason;
    };
    const Case cases[] = {
        {"", "begins with \"command=\""},
        {"user=demo&command=seedDemo", "begins with \"command=\""},
        {"command=fly", "unknown command \"fly\""},
        {"command=cancelBookings", "cancelBookings needs \"user\""},
        {"command=cancelBookings&usr=demo", "takes no field \"usr\""},
        {"command=cancelBookings&user=demo&user=x", "\"user\" more than once"},
        {"command=bookDemoFlight&routeId=one", "routeId is not a whole number: \"one\""},
        {"command=bookDemoFlight&routeId=99999999999", "routeId is not a whole number"},
        {"command=injectFailure&failure=Refuse", "injectFailure needs \"function\""},
        {"command=injectFailure&function=getroute", "no failure given"},
        {"command=injectFailure&function=getroute&failure=Flood", "unknown failure \"Flood\""},
        {"command=injectFailure&function=getroute&failure=Word", "Word needs word"},
        {"command=injectFailure&function=getroute&failure=Delay&delayMs=-5", "negative"},
        {"command=injectFailure&function=getroute&failure=HttpError&status=42",
         "status 42 is not an HTTP status"},
        {"command=injectFailure&function=getroute&failure=Refuse&times=-1", "times is negative"},
    };
    for (const Case& c : cases) {
        const auto result = postTo(testbed::kWebsiteControlPath, c.body);
        ASSERT_TRUE(result) << c.body;
        EXPECT_EQ(result->status, 400) << c.body;
        const auto lines = testbed::decodeFormLines(result->body);
        ASSERT_EQ(lines.size(), 1u) << result->body;
        const std::string* error = testbed::findFormValue(lines[0], "error");
        ASSERT_NE(error, nullptr) << result->body;
        EXPECT_NE(error->find(c.reason), std::string::npos) << c.body << ": " << *error;
    }
    EXPECT_EQ(readFrame(script(kGetRoute)).value("l_ID"), "1") << "the booking stays";
    EXPECT_EQ(site.requests("getroute").back().injected, Failure::Kind::None)
        << "no failure was injected";

    try {
        remote->call({{"command", "fly"}});
        ADD_FAILURE() << "an unknown command was taken";
    } catch (const WebsiteControlError& error) {
        const std::string what = error.what();
        EXPECT_NE(what.find(site.url()), std::string::npos) << what;
        EXPECT_NE(what.find("unknown command \"fly\""), std::string::npos) << what;
    }
}

TEST(WebsiteControlReachTest, NoSiteThere_isAnErrorNamingTheAddress) {
    Website gone;
    ASSERT_TRUE(gone.start());
    const std::string url = gone.url();
    gone.stop();
    RemoteWebsite remote(url, std::chrono::seconds(5));
    try {
        remote.seedDemo();
        ADD_FAILURE() << "a site that is not there took a request";
    } catch (const WebsiteControlError& error) {
        EXPECT_NE(std::string(error.what()).find(url), std::string::npos) << error.what();
    }
}

}  // namespace
