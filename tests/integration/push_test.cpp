// SPDX-License-Identifier: MIT

#include <sys/resource.h>

#include <chrono>
#include <functional>
#include <list>
#include <thread>

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

class Push : public testing::Test {
  protected:
    void SetUp() override { m_unit.start(); }

    HttpResponse Publish(const std::string& channel, const std::string& body) {
        return m_unit.http().request("POST", "/publish?channel=" + channel, body);
    }
    // Sends a subscription that has to wait.
    void Subscribe(HttpClient& client, const std::string& channel = "fedefe") {
        client.send("GET /activity?channel=" + channel + "&fromId=0 HTTP/1.1\r\nHost: x\r\n\r\n");
        // The answer to a later request of ours says that the subscription has been taken.
        m_unit.http().request("GET", "/system/info");
    }
    long OpenDescriptors() { return m_unit.daemon().openDescriptors(); }
    bool AwaitDescriptors(long count) {
        for (int i = 0; i < 1000 && OpenDescriptors() != count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return OpenDescriptors() == count;
    }
    long UsedMs() { return m_unit.daemon().usedMs(); }
    // What is left of a client that waited and then left in this way: no descriptor, no work, nobody to be answered.
    void ExpectNothingLeftAfter(const std::function<void(HttpClient&)>& leave) {
        const long descriptors = m_unit.daemon().settledDescriptors();
        {
            HttpClient client = m_unit.http();
            Subscribe(client);
            leave(client);
            EXPECT_TRUE(AwaitDescriptors(descriptors));
        }
        const long used = UsedMs();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        EXPECT_LT(UsedMs() - used, 250);
        EXPECT_EQ(Publish("fedefe", "{}").status, 200);
        EXPECT_TRUE(m_unit.daemon().isRunning());
    }

    RunningUnit m_unit;
};

TEST_F(Push, AWaitingSubscriberHearsOfAPublication) {
    HttpClient subscriber = m_unit.http();
    Subscribe(subscriber);

    EXPECT_EQ(Publish("fedefe", R"({"flash": "hello"})").status, 200);

    const HttpResponse answer = subscriber.receive();
    EXPECT_EQ(answer.status, 200);
    EXPECT_NE(answer.body.find("hello"), std::string::npos) << answer.body;
    EXPECT_EQ(answer.header("X-Server-instance").substr(0, 2), "0x");
}

TEST_F(Push, ASubscriberThatComesLaterGetsTheStoredEvents) {
    Publish("fedefe", R"({"flash": "hello"})");

    const HttpResponse answer = m_unit.http().request("GET", "/activity?channel=fedefe&fromId=0");

    EXPECT_EQ(answer.status, 200);
    EXPECT_NE(answer.body.find("hello"), std::string::npos);
}

TEST_F(Push, NothingIsLeftOfAWaitingClientThatCloses) {
    ExpectNothingLeftAfter([](HttpClient& client) { client.close(); });
}

TEST_F(Push, NothingIsLeftOfAWaitingClientThatResets) {
    ExpectNothingLeftAfter([](HttpClient& client) { client.reset(); });
}

TEST_F(Push, NothingIsLeftOfAWaitingClientThatEndsItsSide) {
    ExpectNothingLeftAfter([](HttpClient& client) { client.endSending(); });
}

TEST_F(Push, NothingIsLeftOfAWaitingClientThatSendsOnAndCloses) {
    ExpectNothingLeftAfter([](HttpClient& client) {
        client.send("x");
        client.close();
    });
}

TEST_F(Push, NothingIsLeftOfAWaitingClientThatSendsWithoutEnd) {
    ExpectNothingLeftAfter([](HttpClient& client) { client.send(std::string(4L * 1024 * 1024, 'x')); });
}

TEST_F(Push, AWaitingClientThatSentAByteCostsNoProcessorTime) {
    HttpClient client = m_unit.http();
    Subscribe(client);
    client.send("x");
    m_unit.http().request("GET", "/system/info");

    const long used = UsedMs();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    EXPECT_LT(UsedMs() - used, 250);
}

TEST_F(Push, WaitingClientsThatTakeAllDescriptorsKeepNobodyOutForLong) {
    const rlimit few{static_cast<rlim_t>(m_unit.daemon().settledDescriptors() + 5), 20000};
    ASSERT_EQ(prlimit(m_unit.daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::list<HttpClient> waiting;
    for (int i = 0; i < 20; ++i) {
        waiting.push_back(m_unit.http());
        waiting.back().send("GET /activity?channel=a HTTP/1.1\r\nHost: x\r\n\r\n");
    }
    const long used = UsedMs();
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_LT(UsedMs() - used, 500);

    waiting.clear();

    EXPECT_EQ(m_unit.http().request("GET", "/system/info").status, 200);
}

TEST_F(Push, AClientThatResetsAmidAPublicationHarmsNobody) {
    for (int round = 0; round < 50; ++round) {
        HttpClient leaving = m_unit.http();
        HttpClient staying = m_unit.http();
        const std::string channel = "c" + std::to_string(round);
        Subscribe(leaving, channel);
        Subscribe(staying, channel);
        HttpClient publisher = m_unit.http();
        publisher.send(
            "POST /publish?channel=" + channel +
            " HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\nContent-Length: 2\r\n\r\n{}");
        leaving.reset();

        ASSERT_EQ(publisher.receive().status, 200);
        ASSERT_EQ(staying.receive().status, 200);
    }
}

}  // namespace
