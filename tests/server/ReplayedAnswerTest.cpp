// A client whose transfer is replaced (as the fuzzers replace it) reads the
// bytes it is handed exactly as it reads an answer from the website,
// including the transport's one-block limit.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CClientInterface.h"
#include "TestSupport.h"

namespace {

class ReplayingClient : public CClientInterface {
public:
    std::string answer;
    std::string lastRequest;

protected:
    int transfer(const char* request) override {
        lastRequest = request;
        return takeResponse(answer.data(), answer.size());
    }
};

class ReplayedAnswerTest : public ::testing::Test {
protected:
    std::string field(const char* key, int row = 0) {
        char out[64] = {0};
        if (client.getData(key, row, out, sizeof(out) - 1) != 0) return "<none>";
        return out;
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-replay"};
    quelby_test::LogInto logInto{folder.path()};
    ReplayingClient client;
};

TEST_F(ReplayedAnswerTest, ReadingRequests_parseTheReplayedBytes) {
    client.answer = "DATASTART\nSUCCESS\nID|Name|Surname\n7|Anna|Berg\nDATAEND\n";
    EXPECT_EQ(client.readPilot(), CClientInterface::kSuccess);
    EXPECT_EQ(client.lastRequest.rfind("function=getpilot&", 0), 0u);
    EXPECT_EQ(recordText(client.m_pilot.Surname), "Berg");
    EXPECT_EQ(field("Name"), "Anna");

    client.answer = "DATASTART\nNO USER\nDATAEND\n";
    EXPECT_EQ(client.readPilot(), CClientInterface::kNoUser);
    EXPECT_STREQ(client.getLastMessage(), "NO USER");
}

TEST_F(ReplayedAnswerTest, BytesBeyondOneBlock_failAsTheTransportFails) {
    const std::string frame = "DATASTART\nSUCCESS\nfuel\n0.84\nDATAEND\n";
    client.answer = frame + std::string(CClientInterface::kResponseBytes - frame.size(), ' ');
    ASSERT_EQ(client.answer.size(), static_cast<std::size_t>(CClientInterface::kResponseBytes));
    EXPECT_EQ(client.readTimestamp(), CClientInterface::kSuccess);

    client.answer += ' ';
    EXPECT_EQ(client.readTimestamp(), CClientInterface::kCouldNotOpenUrl);
    EXPECT_STREQ(client.getLastMessage(), "Could not open URL");
    EXPECT_EQ(field("fuel"), "0.84") << "the earlier rows stay readable";
    EXPECT_NE(log().find("Answer of 4097 bytes exceeds the 4096-byte limit"), std::string::npos)
        << log();
}

TEST_F(ReplayedAnswerTest, BytesAfterANul_areNeverRead) {
    client.answer = std::string("DATASTART\nSUCCESS\nID\n1\nDATAEND\n\0DATAEND\n", 40);
    EXPECT_EQ(client.readClient(), CClientInterface::kSuccess);
    client.answer = std::string("DATASTART\nSUCCESS\nID\n1\n\0DATAEND\n", 32);
    EXPECT_EQ(client.readClient(), CClientInterface::kBadData);
}

}  // namespace
