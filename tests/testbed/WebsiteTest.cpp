// The stand-in website spoken to over HTTP as the client speaks to it: the
// refusals and the request code it checks, the report it stores, the injected
// failures, and a stop that does not wait for a held request.
#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ClientBodies.h"
#include "TestSupport.h"
#include "testbed/Website.h"

namespace {

using quelby_test::bodyOf;
using quelby_test::Frame;
using quelby_test::frameOf;
using quelby_test::kDemoPass;
using quelby_test::md5Hex;
using quelby_test::positionBody;
using quelby_test::readFrame;
using quelby_test::reportFields;
using quelby_test::withCode;
using testbed::Failure;
using testbed::FormFields;
using testbed::Website;
using Clock = std::chrono::steady_clock;

class WebsiteTest : public ::testing::Test {
protected:
    void SetUp() override {
        site.seedDemo();
        ASSERT_TRUE(site.start());
        client = std::make_unique<httplib::Client>("127.0.0.1", site.port());
        client->set_read_timeout(10, 0);
    }

    // As libcurl posts: a form body and no compressed answer.
    httplib::Result post(const std::string& body, httplib::Client* via = nullptr) {
        return (via ? via : client.get())
            ->Post(testbed::kWebsiteScript, {{"Accept-Encoding", "identity"}}, body,
                   "application/x-www-form-urlencoded");
    }

    std::string answer(const std::string& body) {
        const auto result = post(body);
        if (!result) {
            ADD_FAILURE() << "no answer to " << body << ": " << httplib::to_string(result.error());
            return {};
        }
        EXPECT_EQ(result->status, 200) << body;
        return result->body;
    }

    Website site;
    std::unique_ptr<httplib::Client> client;
};

TEST_F(WebsiteTest, RejectedRequests_answerTheirWordInABareFrame) {
    struct Case {
        const char* situation;
        std::string body;
        const char* word;
    };
    const std::string login = "&system=0040A0B0&intern_ts=3";
    const Case cases[] = {
        {"unknown user", "function=getpilot&user=nobody&pass=" + kDemoPass + login, "NO USER"},
        {"wrong password", "function=getpilot&user=demo&pass=" + md5Hex("demo!") + login,
         "BAD LOGINDATA"},
        {"route of a wrong password", "function=getroute&intern_ts=3&user=demo&pass=x",
         "BAD LOGINDATA"},
        {"unknown airport", "function=getfuelprice&icao=ZZZZ&intern_ts=3", "NOT FOUND"},
        {"unknown function", "function=getweather&intern_ts=3", "INVALID"},
        {"no function", "user=demo&function=getversion", "INVALID"},
        {"keys out of order", "function=getroute&user=demo&intern_ts=3&pass=" + kDemoPass,
         "INVALID"},
        {"no number for the box",
         "function=getclosestairport&Lon1=a&Lon2=9&Lat1=49&Lat2=51&intern_ts=3", "INVALID"},
        {"another pilot's flight", positionBody("2", 0, "0"), "NO LOG"},
        {"events of no report",
         withCode("function=writeeventlog&intern_ts=3&user=demo&pass=" + kDemoPass +
                  "&timestamp=5&speed=0&flightstate=Taxi&text=x&reportid=9"),
         "NOT FOUND"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(answer(c.body), frameOf(c.word)) << c.situation;
    }
    const auto rejected = site.requests("getroute");
    ASSERT_EQ(rejected.size(), 2u);
    EXPECT_NE(rejected[1].problem.find("expected intern_ts&user&pass"), std::string::npos)
        << rejected[1].problem;
}

TEST_F(WebsiteTest, RequestCode_onlyTheClientsCodeIsAccepted) {
    // A body whose code holds a letter and reads differently backwards, so
    // that every case below can tell a wrong code from the right one.
    std::string body;
    std::string good;
    std::string code;
    for (int internTs = 42; internTs < 1000; ++internTs) {
        body = "function=resetpositionlog&intern_ts=" + std::to_string(internTs) +
               "&logid=1&user=demo&pass=" + kDemoPass + "&intern_ts=" + std::to_string(internTs);
        good = withCode(body);
        code = good.substr(good.size() - 3);
        if (code[0] != code[2] && std::any_of(code.begin(), code.end(), ::isalpha)) {
            break;
        }
    }
    std::string upper = code;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    std::string otherText = body;
    otherText.replace(otherText.find("&logid=1"), 8, "&logid=2");
    struct Case {
        const char* situation;
        std::string body;
        const char* word;
    };
    const Case cases[] = {
        {"the client's code", good, "SUCCESS"},
        {"no code", body, "WRONG CODE"},
        {"empty code", body + "&code=", "WRONG CODE"},
        {"code in capitals", body + "&code=" + upper, "WRONG CODE"},
        {"digits in another order", body + "&code=" + std::string{code[2], code[1], code[0]},
         "WRONG CODE"},
        {"code of another text", otherText + "&code=" + code, "WRONG CODE"},
        {"code with a fourth character", good + "0", "WRONG CODE"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(readFrame(answer(c.body)).word, c.word) << c.situation;
    }
    EXPECT_EQ(readFrame(answer("function=gettimestamp&intern_ts=42")).word, "SUCCESS")
        << "reading requests carry no code";
}

TEST_F(WebsiteTest, Getroute_aRouteBeyondOneBlockIsCut_everyKeyStays) {
    const std::string request = "function=getroute&intern_ts=3&user=demo&pass=" + kDemoPass;
    const std::string text = answer(request);
    EXPECT_LT(text.size(), 4096u);
    const Frame frame = readFrame(text);
    ASSERT_EQ(frame.word, "SUCCESS");
    ASSERT_EQ(frame.rows.size(), 1u);
    ASSERT_EQ(frame.rows[0].size(), frame.header.size());
    EXPECT_EQ(frame.value("r_Dep") + "-" + frame.value("r_Arr"), "EDDF-EDDS");

    // A route text far beyond the block is cut; every key stays.
    testbed::Booking long_route;
    long_route.user = "demo";
    long_route.routeId = 1;
    long_route.aircraftId = 1;
    long_route.answerOverrides = {{"r_Route", std::string(5000, 'R')}, {"a_FuelMult", "2"}};
    ASSERT_GT(site.book(long_route), 1);
    const std::string cut = answer(request);
    EXPECT_LE(cut.size(), 4095u);
    const Frame cutFrame = readFrame(cut);
    EXPECT_TRUE(cutFrame.ended);
    EXPECT_EQ(cutFrame.header, frame.header);
    EXPECT_EQ(cutFrame.value("a_FuelMult"), "2") << "the newest booking, overrides applied";
    EXPECT_EQ(cutFrame.value("r_Route").find_first_not_of('R'), std::string::npos);

    site.cancelBookings("demo");
    EXPECT_EQ(answer(request), frameOf("NOT FOUND"));
}

TEST_F(WebsiteTest, Writereport_storesEveryField_andASecondUploadIsRefused) {
    const FormFields fields = reportFields();
    const Frame first = readFrame(answer(withCode(bodyOf("writereport", fields))));
    ASSERT_EQ(first.word, "SUCCESS");
    EXPECT_EQ(first.header, std::vector<std::string>{"ReportId"});
    const std::string reportId = first.value("ReportId");
    EXPECT_GT(std::stoi(reportId), 0) << "the client's empty report has ReportId 0";

    const auto reports = site.reports();
    ASSERT_EQ(reports.size(), 1u);
    for (const auto& [key, value] : fields) {
        const auto stored = reports[0].find(key);
        ASSERT_NE(stored, reports[0].end()) << key;
        EXPECT_EQ(stored->second, value) << key;
    }
    EXPECT_EQ(reports[0].at("ReportId"), reportId);
    EXPECT_EQ(site.flightLogs().at(0).at("l_Status"), "completed");

    // Manual upload of the backed-up copy of the same flight.
    FormFields again = fields;
    again.back().second = "0040A0B0";
    EXPECT_EQ(answer(withCode(bodyOf("writereport", again))), frameOf("ALREADY UPLOADED"));
    EXPECT_EQ(site.reports().size(), 1u);

    // The event log follows the report.
    const std::string event =
        withCode("function=writeeventlog&intern_ts=7&user=demo&pass=" + kDemoPass +
                 "&timestamp=95&speed=24&flightstate=Taxi&text=Taxi speed 24 kts"
                 "&reportid=" +
                 reportId);
    EXPECT_EQ(answer(event), frameOf("SUCCESS"));
    const auto events = site.eventLogs();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].at("text"), "Taxi speed 24 kts");
    EXPECT_EQ(events[0].at("reportid"), reportId);
}

TEST_F(WebsiteTest, InjectedFailures_eachBreaksTheAnswerAsNamed) {
    const std::string request = "function=getversion&intern_ts=1";

    site.injectFailure("getversion", Failure::httpError(503), 1);
    auto result = post(request);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 503);
    EXPECT_EQ(result->body.find("DATASTART"), std::string::npos);

    site.injectFailure("getversion", Failure::garbage(), 1);
    result = post(request);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
    EXPECT_EQ(result->body.find("DATASTART"), std::string::npos);
    EXPECT_NE(result->body.find("<html>"), std::string::npos);

    site.injectFailure("getversion", Failure::missingDataEnd(), 1);
    Frame frame = readFrame(answer(request));
    EXPECT_EQ(frame.word, "SUCCESS");
    EXPECT_EQ(frame.value("Version"), "v2.0.10b");
    EXPECT_FALSE(frame.ended);

    site.injectFailure("getversion", Failure::oversized(), 1);
    std::string text = answer(request);
    EXPECT_GT(text.size(), 4096u);
    EXPECT_EQ(text.rfind("DATASTART\nSUCCESS\nVersion|", 0), 0u);
    const std::size_t filler = text.find("\nxxxx");
    ASSERT_NE(filler, std::string::npos);
    EXPECT_GT(text.find('\n', filler + 1) - filler, 4096u)
        << "no block of 4096 bytes holds a whole frame";

    site.injectFailure("getversion", Failure::answerWord("NO LOG"), 1);
    EXPECT_EQ(answer(request), frameOf("NO LOG"));

    site.injectFailure("getversion", Failure::refuse(), 1);
    result = post(request);
    EXPECT_FALSE(result) << "closed without an answer";

    site.injectFailure("getversion", Failure::delay(300), 1);
    const auto before = Clock::now();
    EXPECT_EQ(readFrame(answer(request)).word, "SUCCESS");
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(300));

    EXPECT_EQ(readFrame(answer(request)).word, "SUCCESS") << "each failure was for one request";
    const auto received = site.requests("getversion");
    ASSERT_EQ(received.size(), 8u);
    EXPECT_EQ(received[5].injected, Failure::Kind::Refuse);
    EXPECT_EQ(received[5].answer, "");
    EXPECT_EQ(received[7].injected, Failure::Kind::None);
    for (const auto& each : received) {
        EXPECT_EQ(each.problem, "") << "a failure injected is not the request's fault";
    }
}

TEST_F(WebsiteTest, InjectedFailures_forOneFunctionWinOverAll_andCount) {
    site.injectFailure("", Failure::answerWord("INVALID"));
    site.injectFailure("gettimestamp", Failure::answerWord("NOT FOUND"), 2);
    EXPECT_EQ(answer("function=getnews&intern_ts=1"), frameOf("INVALID"));
    EXPECT_EQ(answer("function=gettimestamp&intern_ts=1"), frameOf("NOT FOUND"));
    EXPECT_EQ(answer("function=gettimestamp&intern_ts=1"), frameOf("NOT FOUND"));
    EXPECT_EQ(answer("function=gettimestamp&intern_ts=1"), frameOf("INVALID"))
        << "back to the one for all";

    // A failure word keeps the request from taking effect.
    EXPECT_EQ(answer(positionBody("1", 0, "0")), frameOf("INVALID"));
    EXPECT_TRUE(site.positionLogs().empty());

    site.clearFailures();
    site.setFixedTime(1700000000);
    const Frame frame = readFrame(answer("function=gettimestamp&intern_ts=1"));
    EXPECT_EQ(frame.value("UNIX_TIMESTAMP()"), "1700000000");
}

TEST_F(WebsiteTest, NoAnswer_holdsTheRequest_untilTheLimitOrAPromptStop) {
    site.injectFailure("getnews", Failure::noAnswer());
    site.setNoAnswerLimit(std::chrono::milliseconds(300));
    auto before = Clock::now();
    EXPECT_FALSE(post("function=getnews&intern_ts=1")) << "dropped at the limit without an answer";
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(300));
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(5));

    site.setNoAnswerLimit(std::chrono::minutes(10));
    auto held = std::async(std::launch::async, [this] {
        httplib::Client own("127.0.0.1", site.port());
        own.set_read_timeout(60, 0);
        return static_cast<bool>(post("function=getnews&intern_ts=2", &own));
    });
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (site.requests("getnews").size() < 2 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_EQ(site.requests("getnews").size(), 2u);
    EXPECT_EQ(held.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout)
        << "still held";

    before = Clock::now();
    site.stop();
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(2))
        << "stop() waited for the held request";
    ASSERT_EQ(held.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_FALSE(held.get()) << "the held request ends without an answer";
    EXPECT_TRUE(site.waitForRequests("getnews", 2, std::chrono::seconds(1)));
}

TEST(WebsiteStorageTest, DatabaseFile_keepsDataBetweenRuns) {
    quelby_test::ScratchFolder folder("quelby-website");
    const std::string path = folder.file("site.db");
    {
        Website site(path);
        site.seedDemo();
        site.seedDemo();  // fixed ids: seeding again changes nothing
        site.addNews("Second", "News", 7);
    }
    Website site(path);
    ASSERT_TRUE(site.start());
    httplib::Client client("127.0.0.1", site.port());
    const auto news = client.Post(testbed::kWebsiteScript, "function=getnews&intern_ts=1",
                                  "application/x-www-form-urlencoded");
    ASSERT_TRUE(news);
    EXPECT_EQ(readFrame(news->body).value("ID"), "7");
    EXPECT_EQ(site.flightLogs().size(), 1u);
}

}  // namespace
