// SPDX-License-Identifier: MIT

#include "src/http/PushDataHelper.h"

#include <sched.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PushDataFixture.h"
#include "src/base/json_helpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeHttpServer.h"
#include "tests/support/WebConfiguration.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

// Does what it is told with each batch.
class Emitter : public PushDataEmitter {
  public:
    explicit Emitter(std::function<void(cJSON*)> action) : m_action(std::move(action)) {}
    void emitData(cJSON* batch) override { m_action(batch); }

  private:
    std::function<void(cJSON*)> m_action;
};

std::vector<std::string> MemberNames(const cJSON* object) {
    std::vector<std::string> names;
    for (const cJSON* member = object->child; member != nullptr; member = member->next) {
        names.emplace_back(member->string);
    }
    return names;
}

std::string ConfigurationOf(int port, const std::string& channel = "fedefe") {
    return R"({"hab.http.port": )" + std::to_string(port) + R"(, "hab.push.channel.id": ")" + channel + "\"}";
}

// A helper and the server that it posts to. Its run() is called by the test, until an emitter stops it, or it is
// started as the thread that it is.
class PushDataRun : public testing::Test {
  protected:
    PushDataRun() : m_config(ConfigurationOf(m_server.port())) {}

    void RunUntilFirstBatch() {
        Emitter stop([this](cJSON*) { m_helper.stopRunning(); });
        m_helper.addEmitter(&stop);
        m_helper.run();
        m_helper.addEmitter(nullptr);
    }

    // Starts the thread and has it wait for the server's answer to a first message.
    void StartWithAPostOnItsWay() {
        m_server.HoldAnswers();
        ASSERT_TRUE(Enqueue(m_helper, "first"));
        ASSERT_EQ(m_helper.start(), 0);
        ASSERT_TRUE(m_server.WaitForRequests(1));
    }

    // What was posted, without the text of the times.
    JsonPtr Posted(std::size_t index) {
        const std::vector<FakeHttpServer::Request> requests = m_server.requests();
        return index < requests.size() ? json_parse(requests[index].body) : nullptr;
    }

    FakeHttpServer m_server;
    WebConfiguration m_config;
    PushDataHelper m_helper;
};

class LoggedPushDataRun : public PushDataRun {
  protected:
    ~LoggedPushDataRun() override { EXPECT_FALSE(m_helper.isRunning()); }
    CapturedLog m_log;
};

}  // namespace

TEST(PushDataHelper, HasOneInstanceForTheProcess) {
    PushDataHelper* instance = PushDataHelper::getInstance();

    EXPECT_NE(instance, nullptr);
    EXPECT_EQ(PushDataHelper::getInstance(), instance);
    EXPECT_FALSE(instance->isRunning());
}

TEST(PushDataPublish, RefusesAndDeletesTheObjectWhileNoThreadRuns) {
    const CapturedLog log;
    const FreedJson freed;
    PushDataHelper helper;
    cJSON* data = cJSON_CreateObject();

    EXPECT_FALSE(helper.publish("name", data));

    EXPECT_TRUE(freed.has(data));
    EXPECT_THAT(log.lines(), ElementsAre("7 src/PushDataHelper: Queue full - freeing!!!!"));
    EXPECT_EQ(helper.dequeue(), nullptr);
}

TEST_F(PushDataRun, PublishLeavesTheObjectToItsCallerAndPostsItsCopy) {
    StartWithAPostOnItsWay();
    const JsonPtr data = json_parse(R"({"a":[1]})");

    EXPECT_TRUE(m_helper.publish("name", data.get()));
    cJSON_AddItemToArray(cJSON_GetObjectArray(data.get(), "a"), cJSON_CreateInt(2));
    m_server.ReleaseAnswers();

    ASSERT_TRUE(m_server.WaitForRequests(2));
    EXPECT_EQ(Text(cJSON_GetObjectObject(Posted(1).get(), "name")), R"({"a":[1]})");
    EXPECT_EQ(Text(data.get()), R"({"a":[1,2]})");
}

TEST_F(PushDataRun, PublishRefusesAndDeletesTheObjectWhenTheQueueIsFull) {
    const FreedJson freed;
    const JsonPtr data(cJSON_CreateTrue());
    int accepted = 0;
    bool isRefusedOneFreed = false;
    Enqueue(m_helper, "first");
    Emitter fill([&](cJSON*) {
        for (int i = 0; i < 7; ++i) {
            accepted += m_helper.publish("queued", data.get()) ? 1 : 0;
        }
        cJSON* refused = cJSON_CreateTrue();
        accepted += m_helper.publish("refused", refused) ? 1 : 0;
        isRefusedOneFreed = freed.has(refused);
        m_helper.stopRunning();
    });
    m_helper.addEmitter(&fill);

    m_helper.run();

    EXPECT_EQ(accepted, 7);
    EXPECT_TRUE(isRefusedOneFreed);
    EXPECT_THAT(DequeueAll(m_helper), AllOf(SizeIs(7), Each("queued")));
}

TEST_F(PushDataRun, PublishRefusesAfterTheThreadWasStopped) {
    StartWithAPostOnItsWay();

    m_helper.stopRunning();

    EXPECT_FALSE(m_helper.publish("name", cJSON_CreateTrue()));
    m_server.ReleaseAnswers();
}

TEST_F(PushDataRun, PostsWhatIsQueuedAsOneObjectWithTheTime) {
    Enqueue(m_helper, "a", "1");
    Enqueue(m_helper, "b", R"({"c":[]})");
    Enqueue(m_helper, "d", "\"text\"");

    RunUntilFirstBatch();

    ASSERT_EQ(m_server.requests().size(), 1U);
    EXPECT_THAT(m_server.requests()[0].header, StartsWith("POST /publish?channel=fedefe HTTP/1.1\r\n"));
    EXPECT_THAT(m_server.requests()[0].body, StartsWith(R"({"a":1,"b":{"c":[]},"d":"text","system.time":")"));
    const JsonPtr posted = Posted(0);
    EXPECT_THAT(cJSON_GetObjectString(posted.get(), "system.time")->valuestring, EndsWith("\n"));
}

TEST_F(PushDataRun, PostsAMemberForEachUseOfAName) {
    Enqueue(m_helper, "a", "1");
    Enqueue(m_helper, "a", "2");

    RunUntilFirstBatch();

    ASSERT_EQ(m_server.requests().size(), 1U);
    EXPECT_THAT(m_server.requests()[0].body, StartsWith(R"({"a":1,"a":2,"system.time":)"));
}

TEST_F(PushDataRun, PostsWhatComesMeanwhileAsTheNextObject) {
    StartWithAPostOnItsWay();
    Enqueue(m_helper, "second");
    Enqueue(m_helper, "third");
    m_server.ReleaseAnswers();

    ASSERT_TRUE(m_server.WaitForRequests(2));
    EXPECT_THAT(MemberNames(Posted(0).get()), ElementsAre("first", "system.time"));
    EXPECT_THAT(MemberNames(Posted(1).get()), ElementsAre("second", "third", "system.time"));
}

TEST_F(PushDataRun, GivesWhatItHasPostedToTheEmitter) {
    Enqueue(m_helper, "a", "1");
    std::string emitted;
    std::size_t posts = 0;
    Emitter emitter([&](cJSON* batch) {
        emitted = Text(batch);
        posts = m_server.requests().size();
        m_helper.stopRunning();
    });
    m_helper.addEmitter(&emitter);

    m_helper.run();

    EXPECT_EQ(posts, 1U);
    EXPECT_THAT(emitted, StartsWith(R"({"a":1,)"));
    EXPECT_EQ(emitted, m_server.requests()[0].body);
}

TEST_F(PushDataRun, HasOneEmitterTheLast) {
    Enqueue(m_helper, "a");
    int calls_of_first = 0;
    int calls_of_second = 0;
    Emitter first([&](cJSON*) { ++calls_of_first; });
    Emitter second([&](cJSON*) {
        ++calls_of_second;
        m_helper.stopRunning();
    });
    m_helper.addEmitter(&first);
    m_helper.addEmitter(&second);

    m_helper.run();

    EXPECT_EQ(calls_of_first, 0);
    EXPECT_EQ(calls_of_second, 1);
}

TEST_F(PushDataRun, IsRunningUntilItIsStopped) {
    Enqueue(m_helper, "a");
    bool was_running = false;
    Emitter emitter([&](cJSON*) {
        was_running = m_helper.isRunning();
        m_helper.stopRunning();
    });
    m_helper.addEmitter(&emitter);
    EXPECT_FALSE(m_helper.isRunning());

    m_helper.run();

    EXPECT_TRUE(was_running);
    EXPECT_FALSE(m_helper.isRunning());
}

TEST_F(PushDataRun, LeavesWhatIsQueuedWhenItIsStopped) {
    Enqueue(m_helper, "a");
    Emitter emitter([&](cJSON*) {
        Enqueue(m_helper, "left");
        m_helper.stopRunning();
    });
    m_helper.addEmitter(&emitter);

    m_helper.run();

    EXPECT_EQ(m_server.requests().size(), 1U);
    EXPECT_THAT(DequeueAll(m_helper), ElementsAre("left"));
}

TEST_F(LoggedPushDataRun, LogsWhatItPosts) {
    Enqueue(m_helper, "a", R"({"b":1})");

    RunUntilFirstBatch();

    const std::string module = "7 src/PushDataHelper: ";
    EXPECT_TRUE(m_log.has(module + R"(Channel: fedefe, name: a, data: {"b":1})"));
    EXPECT_TRUE(m_log.has(module + "Posting to 127.0.0.1:" + std::to_string(m_server.port()) +
                          " /publish?channel=fedefe"));
    EXPECT_EQ(m_log.lines().back(), module + "PushDataHelper::run exited");
}

TEST_F(PushDataRun, GoesOnWhenNobodyListens) {
    const UnusedPort port;
    const WebConfiguration elsewhere(ConfigurationOf(port.number()));
    Enqueue(m_helper, "a");
    int rounds = 0;
    Emitter emitter([&](cJSON*) {
        if (++rounds == 1) {
            Enqueue(m_helper, "b");
        } else {
            m_helper.stopRunning();
        }
    });
    m_helper.addEmitter(&emitter);

    m_helper.run();

    EXPECT_EQ(rounds, 2);
}

TEST_F(LoggedPushDataRun, GoesOnWithAPathThatJustFitsItsBufferButNoHeader) {
    const std::string channel(255 - std::strlen("/publish?channel="), 'c');
    const WebConfiguration longPath(ConfigurationOf(m_server.port(), channel));
    Enqueue(m_helper, "a");

    RunUntilFirstBatch();

    EXPECT_THAT(m_server.requests(), IsEmpty());
    EXPECT_THAT(m_log.lines(), Contains(EndsWith("/publish?channel=" + channel)));
    EXPECT_EQ(m_log.countOf("3 src/habhelper: Header of "), 1);
}

TEST_F(PushDataRun, GoesOnWithAPathOf256Characters) {
    const std::string channel(256 - std::strlen("/publish?channel="), 'c');
    const WebConfiguration longPath(ConfigurationOf(m_server.port(), channel));
    Enqueue(m_helper, "a");

    RunUntilFirstBatch();

    EXPECT_FALSE(m_helper.isRunning());
    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST(PushDataRunDeathTest, StopsTheProcessForAPathOfMoreThan256Characters) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string channel(257 - std::strlen("/publish?channel="), 'c');
    const WebConfiguration longPath(ConfigurationOf(9, channel));
    PushDataHelper helper;
    Enqueue(helper, "a");

    EXPECT_DEATH(helper.run(),
                 "src/PushDataHelper:.*virtual void\\* PushDataHelper::run\\(\\): "
                 "Assertion `n <= sizeof\\(url\\)' failed");
}

TEST_F(PushDataRun, IsWokenByAMessage) {
    ASSERT_EQ(m_helper.start(), 0);
    const JsonPtr data(cJSON_CreateTrue());

    // One message need not be enough: its signal may come just before the thread waits.
    bool isPosted = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!isPosted && std::chrono::steady_clock::now() < deadline) {
        isPosted = (!m_helper.isRunning() || m_helper.publish("name", data.get())) &&
                   m_server.WaitForRequests(1, std::chrono::milliseconds(10));
    }

    EXPECT_TRUE(isPosted);
}

TEST_F(PushDataRun, IsWokenByItsStop) {
    ASSERT_EQ(m_helper.start(), 0);

    // Again and again: a stop may come before the start or just before the thread waits.
    std::atomic<bool> hasEnded{false};
    std::thread stopper([&] {
        while (!hasEnded) {
            m_helper.stopRunning();
            sched_yield();
        }
    });
    EXPECT_EQ(m_helper.join(), 0);
    hasEnded = true;
    stopper.join();

    EXPECT_FALSE(m_helper.isRunning());
}

TEST_F(PushDataRun, EndsWithItsObjectWhereverTheThreadIs) {
    for (int i = 0; i < 200; ++i) {
        PushDataHelper helper;
        ASSERT_EQ(helper.start(), 0);
        while (i % 2 == 1 && !helper.isRunning()) {
            sched_yield();
        }
        // The destructor waits for the thread: one that misses its end holds this test.
    }
}

TEST_F(PushDataRun, EndsWithItsObjectAfterThePostOnItsWay) {
    std::atomic<bool> isEmitted{false};
    Emitter emitter([&](cJSON*) { isEmitted = true; });
    {
        PushDataHelper helper;
        helper.addEmitter(&emitter);
        Enqueue(helper, "a");
        ASSERT_EQ(helper.start(), 0);
        ASSERT_TRUE(m_server.WaitForRequests(1));
    }

    EXPECT_TRUE(isEmitted);
}

TEST_F(PushDataRun, NeedsNobodyToWaitForAThreadThatHasEnded) {
    StartWithAPostOnItsWay();
    m_helper.stopRunning();
    m_server.ReleaseAnswers();

    EXPECT_EQ(m_helper.join(), 0);
}
