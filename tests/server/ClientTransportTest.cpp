// The website transport over loopback: framed answers, field lookup, the
// request code, and answers that are broken in every way a site can break
// them.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "CClientInterface.h"
#include "ScriptedWebServer.h"
#include "TestSupport.h"

using namespace std::chrono_literals;

namespace {

class ClientTransportTest : public ::testing::Test {
protected:
    void SetUp() override { client.setHost(server.host()); }
    void TearDown() override {
        CClientInterface::setStallLimitsForTests(CClientInterface::kConnectTimeoutSeconds * 1000,
                                                 CClientInterface::kLowSpeedSeconds);
    }
    int send() { return client.readURL("function=getversion&intern_ts=1"); }
    std::string field(const char* key, int row = 0) {
        char out[64];
        std::memset(out, 0, sizeof(out));
        if (client.getData(key, row, out, sizeof(out) - 1) != 0) return "<none>";
        return out;
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-transport"};
    quelby_test::LogInto logInto{folder.path()};
    ScriptedWebServer server;
    CClientInterface client;
};

TEST_F(ClientTransportTest, FramedAnswers_giveTheirResultCodes) {
    struct Case {
        const char* answer;
        int result;
    };
    const Case cases[] = {
        {"DATASTART\nSUCCESS\nID|Name\n7|Anna\nDATAEND\n", 0},
        {"<html>Warning: something</html>\n\nDATASTART\nSUCCESS\nID\n1\nDATAEND\n", 0},
        {"DATASTART \r\nSUCCESS \t\r\nID\r\n1\r\nDATAEND\r\n", 0},
        {"DATASTART\nSUCCESS\nDATAEND\n", 0},
        {"DATASTART\nNO USER\nDATAEND\n", 1},
        {"DATASTART\nNOT FOUND\n", 2},
        {"DATASTART\nINVALID\n", 3},
        {"DATASTART\nWRONG CODE\n", 7},
        {"DATASTART\nALREADY UPLOADED\n", 8},
        {"DATASTART\nNO LOG\n", 9},
        {"DATASTART\nBAD LOGINDATA\n", 10},
        {"DATASTART\nERROR\nDATAEND\n", 4},
        {"DATASTART\nSUCCESS\nID\n1\n", 4},
        {"no frame at all", 4},
        {"", 4},
        {"DATASTART\nSUCC", 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.answer);
        server.answer(c.answer);
        EXPECT_EQ(send(), c.result);
        EXPECT_EQ(client.getLastResult(), c.result);
        EXPECT_STREQ(client.getLastMessage(), CClientInterface::clientMessages[c.result]);
    }
    EXPECT_EQ(server.userAgents().front(), "Quelby");
}

TEST_F(ClientTransportTest, FailedOrEmptyAnswer_keepsTheEarlierRowsReadable) {
    server.answer("DATASTART\nSUCCESS\nID|Name\n7|Anna\n8|Ben\nDATAEND\n");
    ASSERT_EQ(send(), 0);
    server.answer("DATASTART\nNO USER\nDATAEND\n");
    ASSERT_EQ(send(), 1);
    EXPECT_EQ(field("Name", 1), "Ben");
    server.answer("DATASTART\nSUCCESS\nDATAEND\n");
    ASSERT_EQ(send(), 0);
    EXPECT_EQ(field("Name", 0), "Anna");
    server.answer("DATASTART\nSUCCESS\nID\n1\n");  // no DATAEND
    ASSERT_EQ(send(), 4);
    // The whole broken answer is logged, one continuation line per line.
    EXPECT_NE(log().find("Error: [CClientInterface] Bad answer from website"), std::string::npos)
        << log();
    EXPECT_NE(log().find("CClientInterface --> ID\n"), std::string::npos) << log();
}

TEST_F(ClientTransportTest,
       GetData_findsRowsAndRepeatedColumns_convertsNumbers_andLeavesOutputOnMiss) {
    server.answer(
        "DATASTART\nSUCCESS\nkey|dup|dup|empty|n\nA|x1|y1||12.7\nB|x2|y2||2.5\nDATAEND\n");
    ASSERT_EQ(send(), 0);
    EXPECT_EQ(field("key", 0), "A");
    EXPECT_EQ(field("key", 1), "B");
    EXPECT_EQ(field("key", 2), "<none>");
    EXPECT_EQ(field("dup", 1), "x2") << "the first column of a repeated name wins";
    EXPECT_EQ(field("empty", 0), "");
    EXPECT_EQ(field("missing", 0), "<none>");
    int i = 0;
    double d = 0.0;
    ASSERT_EQ(client.getData("n", 0, i), 0);
    EXPECT_EQ(i, 12) << "read as atoi would";
    ASSERT_EQ(client.getData("n", 1, d), 0);
    EXPECT_DOUBLE_EQ(d, 2.5);

    char untouched[8] = "keepme";
    EXPECT_EQ(client.getData("missing", 0, untouched, 7), -1);
    EXPECT_STREQ(untouched, "keepme");
    int number = 42;
    EXPECT_EQ(client.getData("missing", 0, number), -1);
    EXPECT_EQ(number, 42);

    // A value of exactly max bytes is copied without a terminator.
    char exact[4] = {'#', '#', '#', '#'};
    server.answer("DATASTART\nSUCCESS\nv\nabc\nDATAEND\n");
    ASSERT_EQ(send(), 0);
    ASSERT_EQ(client.getData("v", 0, exact, 3), 0);
    EXPECT_EQ(std::string(exact, 4), "abc#");
}

TEST_F(ClientTransportTest, StatusOtherThan200_failsTheRequestWithALogLine_whateverTheBody) {
    server.answer("DATASTART\nSUCCESS\nID\n7\nDATAEND\n");
    for (const int status : {500, 503, 404, 302, 201}) {
        SCOPED_TRACE(status);
        server.status(status);
        const std::size_t before = log().size();
        EXPECT_EQ(send(), 5);
        EXPECT_NE(
            log().substr(before).find("HTTP status " + std::to_string(status) + " from http://"),
            std::string::npos)
            << log().substr(before);
    }
    server.status(200);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(field("ID"), "7");
}

TEST_F(ClientTransportTest, HostsScheme_isCaseBlind_andOnlyHttpOrHttpsIsSpoken) {
    // Where a host of "file://" leads: a framed answer in a local file.
    const std::string siteFolder = folder.file("site");
    std::filesystem::create_directories(siteFolder);
    quelby_test::writeFile(siteFolder + "/client_interface2.php5",
                           "DATASTART\nSUCCESS\nID\n7\nDATAEND\n");
    server.answer("DATASTART\nSUCCESS\nID\n8\nDATAEND\n");
    const struct {
        std::string host;
        std::string url;
        int result;
        const char* logged;  // in the log line of a failure
    } cases[] = {
        {"HTTP://" + server.host(), "http://" + server.host(), 0, nullptr},
        {server.host(), "http://" + server.host(), 0, nullptr},
        // HTTPS spoken to a site that speaks plain HTTP: the handshake fails.
        {"HTTPS://" + server.host() + "/", "https://" + server.host(), 5, "SSL"},
        {"file://" + siteFolder, "file://" + siteFolder, 5, "Protocol \"file\""},
        {"FILE://" + siteFolder, "file://" + siteFolder, 5, "Protocol \"file\""},
        {"dict://" + server.host(), "dict://" + server.host(), 5, "Protocol \"dict\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.host);
        CClientInterface other;
        other.setHost(c.host);
        EXPECT_EQ(other.getUrl(), c.url + "/client_interface2.php5");
        const std::size_t before = log().size();
        const std::size_t received = server.bodies().size();
        EXPECT_EQ(other.readURL("function=getversion&intern_ts=1"), c.result);
        if (c.result == 0) {
            EXPECT_EQ(server.bodies().size(), received + 1);
        } else {
            EXPECT_EQ(server.bodies().size(), received) << "no request reached the site";
            EXPECT_NE(log().substr(before).find(c.logged), std::string::npos)
                << log().substr(before);
        }
    }
}

// A listening socket whose queue of connections is full: the system neither
// takes nor refuses a further one, as a website behind a dead route.
class FullListener {
public:
    FullListener() {
        m_listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            listen(m_listener, 0) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            return;
        }
        m_port = ntohs(address.sin_port);
        // Connections that the system completes fill the queue; the first one
        // left waiting shows it is full.
        for (int i = 0; i < 16 && !m_full; ++i) {
            const int filler = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            m_fillers.push_back(filler);
            connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof(address));
            pollfd wait{filler, POLLOUT, 0};
            m_full = poll(&wait, 1, 300) == 0;
        }
    }
    ~FullListener() {
        for (const int filler : m_fillers) close(filler);
        if (m_listener >= 0) close(m_listener);
    }
    bool full() const { return m_full; }
    std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    int m_listener = -1;
    int m_port = 0;
    bool m_full = false;
    std::vector<int> m_fillers;
};

TEST_F(ClientTransportTest, SiteThatTakesNoConnection_failsAtTheConnectTimeOut) {
    FullListener listener;
    ASSERT_TRUE(listener.full()) << "the system kept taking connections";
    CClientInterface::setStallLimitsForTests(300, CClientInterface::kLowSpeedSeconds);
    client.setHost(listener.host());
    // A stop would end the transfer long before the request's whole time-out.
    std::promise<void> done;
    std::thread stop([ended = done.get_future()] {
        if (ended.wait_for(20s) == std::future_status::timeout) {
            CClientInterface::abortTransfers(true);
        }
    });
    const int result = send();
    done.set_value();
    stop.join();
    CClientInterface::abortTransfers(false);
    EXPECT_EQ(result, 5);
    // libcurl words it "Connection timeout after ..." or "Failed to connect
    // ...: Timeout was reached", depending on where the wait ended.
    EXPECT_NE(log().find("imeout"), std::string::npos) << log();
    EXPECT_EQ(log().find("Callback aborted"), std::string::npos) << "ended by the stop: " << log();
}

TEST_F(ClientTransportTest, SiteThatStallsAfterTheRequest_failsAtTheLowSpeedLimit) {
    CClientInterface::setStallLimitsForTests(CClientInterface::kConnectTimeoutSeconds * 1000, 1);
    server.answer("DATASTART\nSUCCESS\nID\n7\nDATAEND\n");
    server.hang(8000);
    EXPECT_EQ(send(), 5);
    EXPECT_NE(log().find("Operation too slow"), std::string::npos) << log();
}

TEST(RequestCodeTest, IsDigits10_5_2OfTheLowerCaseMd5) {
    // md5("") = d41d8cd98f00b204e9800998ecf8427e, md5("abc") = 900150983cd24fb0d6963f7d28e17f72
    EXPECT_EQ(CClientInterface::calcCode(""), "0c1");
    EXPECT_EQ(CClientInterface::calcCode("abc"), "d00");
    EXPECT_NE(CClientInterface::calcCode("function=writelog&fuel=1000"),
              CClientInterface::calcCode("function=writelog&fuel=1001"));
}

TEST_F(ClientTransportTest, HostileAnswers_neverOverrunOrCrash) {
    std::string manyFields = "DATASTART\nSUCCESS\n";
    for (int i = 0; i < 300; ++i) manyFields += "f" + std::to_string(i) + (i < 299 ? "|" : "\n");
    for (int i = 0; i < 300; ++i) manyFields += std::to_string(i) + (i < 299 ? "|" : "\n");
    manyFields += "DATAEND\n";
    ASSERT_LT(manyFields.size(), 4096u);
    server.answer(manyFields);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(field("f0", 0), "0");
    EXPECT_EQ(field("f126", 0), "126");

    const char withNul[] = "DATASTART\nSUCCESS\nID\n5\0\nDATAEND\n";
    server.answer(std::string(withNul, sizeof(withNul) - 1));
    EXPECT_EQ(send(), 4) << "the answer ends at its NUL byte, before DATAEND";

    server.answer(std::string(4000, 'x'));  // one long line, no line feed
    EXPECT_EQ(send(), 4);

    server.answer("DATASTART\nSUCCESS\nID\n" + std::string(5000, '1') + "\nDATAEND\n");
    EXPECT_EQ(send(), 5) << "an answer over 4096 bytes fails the transfer";
}

TEST_F(ClientTransportTest, NoSiteOrAbortedTransfer_isCouldNotOpenUrl) {
    CClientInterface nowhere;
    nowhere.setHost("127.0.0.1:1");  // nothing listens on port 1
    EXPECT_EQ(nowhere.readURL("function=getversion&intern_ts=1"), 5);
    EXPECT_STREQ(nowhere.getLastMessage(), "Could not open URL");

    // A site that takes the request and does not answer: a stop aborts the
    // transfer at once, not at libcurl's next look at the abort flag, which
    // comes up to a second into its wait. Three transfers, each aborted a
    // while into its wait: looking once a second, they would end about
    // 1.5 s after their aborts in all.
    server.hang(30000);
    std::chrono::steady_clock::duration endedAfter{};
    for (int transfer = 1; transfer <= 3; ++transfer) {
        auto pending = std::async(std::launch::async, [&] { return send(); });
        const auto sentBy = std::chrono::steady_clock::now() + 5s;
        while (server.bodies().size() < static_cast<std::size_t>(transfer) &&
               std::chrono::steady_clock::now() < sentBy) {
            std::this_thread::sleep_for(5ms);
        }
        ASSERT_EQ(server.bodies().size(), static_cast<std::size_t>(transfer))
            << "request " << transfer << " was not sent";
        std::this_thread::sleep_for(300ms);
        const auto abortedAt = std::chrono::steady_clock::now();
        CClientInterface::abortTransfers(true);
        const auto status = pending.wait_for(5s);
        endedAfter += std::chrono::steady_clock::now() - abortedAt;
        CClientInterface::abortTransfers(false);
        ASSERT_EQ(status, std::future_status::ready) << "transfer " << transfer << " did not end on abort";
        EXPECT_EQ(pending.get(), 5);
    }
    const auto endedAfterMs = std::chrono::duration_cast<std::chrono::milliseconds>(endedAfter).count();
    EXPECT_LT(endedAfterMs, 600) << "the transfers ended only at libcurl's own looks at the flag";

    // Once the stop has begun, a transfer that starts gets no connection.
    CClientInterface::abortTransfers(true);
    const auto refusedAt = std::chrono::steady_clock::now();
    EXPECT_EQ(send(), 5);
    CClientInterface::abortTransfers(false);
    EXPECT_LT(std::chrono::steady_clock::now() - refusedAt, 400ms) << "a refused transfer waited";
    EXPECT_EQ(server.bodies().size(), 3u) << "a request went out after the stop began";
}

// This process's threads with the name, from /proc.
std::size_t threadsNamed(const std::string& name) {
    std::size_t named = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (quelby_test::readFile((task.path() / "comm").string()) == name + "\n") ++named;
    }
    return named;
}

TEST_F(ClientTransportTest, TrackerUpdateStillWaiting_itsThreadIsJoinedOnceTransfersAbort) {
    server.hang(30000);
    // The sender inherits the name of the thread that starts it, which
    // tells it from every other thread of the test.
    std::thread starter([&] {
        pthread_setname_np(pthread_self(), "sender-test");
        EXPECT_EQ(client.writeLog(), 1);
    });
    starter.join();
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (server.bodies().empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_EQ(server.bodies().size(), 1u) << "the update was not sent";
    EXPECT_EQ(server.bodies()[0].rfind("function=writelog&", 0), 0u);
    EXPECT_EQ(threadsNamed("sender-test"), 1u)
        << "the update is not waiting on a thread of its own";

    CClientInterface::abortTransfers(true);
    CClientInterface::joinSenders();
    CClientInterface::abortTransfers(false);
    EXPECT_EQ(threadsNamed("sender-test"), 0u) << "a sender outlived joinSenders()";
}

TEST_F(ClientTransportTest, SetError_outsideTheKnownCodes_isBadData) {
    EXPECT_EQ(client.setError(7), 7);
    EXPECT_STREQ(client.getRequestText(), "WRONG CODE(7)");
    for (int code : {-1, 11}) {
        EXPECT_EQ(client.setError(code), 4) << code;
        EXPECT_STREQ(client.getLastMessage(), "Bad data from website") << code;
    }
}

}  // namespace
