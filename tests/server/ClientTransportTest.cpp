// The website transport over loopback: framed answers, field lookup, the
// request code, and answers that are broken in every way a site can break
// them.
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include "CClientInterface.h"
#include "ScriptedWebServer.h"
#include "TestSupport.h"

using namespace std::chrono_literals;

namespace {

class ClientTransportTest : public ::testing::Test {
protected:
    void SetUp() override { client.setHost(server.host()); }
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

    // A site that does not answer: a stop aborts the transfer at once.
    server.hang(30000);
    auto pending = std::async(std::launch::async, [&] { return send(); });
    std::this_thread::sleep_for(200ms);
    CClientInterface::abortTransfers(true);
    const auto status = pending.wait_for(5s);
    CClientInterface::abortTransfers(false);
    ASSERT_EQ(status, std::future_status::ready) << "the transfer did not end on abort";
    EXPECT_EQ(pending.get(), 5);
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
