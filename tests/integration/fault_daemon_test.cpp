// SPDX-License-Identifier: MIT

#include <atomic>
#include <functional>
#include <thread>

#include "FaultFixture.h"

// The daemon is killed while clients have requests under way, and started again.

namespace {

class DaemonFaults : public FaultFixture {
  protected:
    // Writes 1, 2, 3 ... until the daemon is gone; the last one that was acknowledged.
    int WriteOverHttp(std::atomic<int>& writes) {
        int last = 0;
        HttpClient client = m_unit.http();
        const auto put = [&client](int number) {
            return client.request("PUT", "/example/test",
                                  R"({"data": {"a": ")" + std::to_string(number) + "\"}}",
                                  {"Accept: application/json"});
        };
        while (put(last + 1).status == 200) {
            ++last;
            ++writes;
        }
        return last;
    }
    int WriteOverJsonRpc(std::atomic<int>& writes) {
        int last = 0;
        RpcClient client = m_unit.rpc();
        const auto update = [&client](int number) {
            return client.call("update", R"({"path": "/example/test/static/x", "data": {"abc": ")" +
                                             std::to_string(number) + "\"}}");
        };
        while (Number(update(last + 1), {"result", "code"}) == 200.0) {
            ++last;
            ++writes;
        }
        return last;
    }
    static int StoredNumberOnce(const char* key, int number) {
        for (int i = 0; i < 1000 && std::atoi(Stored(key).c_str()) < number; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return std::atoi(Stored(key).c_str());
    }
};

TEST_F(DaemonFaults, KilledUnderWritesItStartsAgainAtOnceAndHasAllThatItAcknowledged) {
    const OtherProgram other(m_unit);
    for (int round = 0; round < 3; ++round) {
        std::atomic<int> writes = 0;
        int over_http = 0;
        int over_json_rpc = 0;
        std::thread http([&] { over_http = WriteOverHttp(writes); });
        std::thread json_rpc([&] { over_json_rpc = WriteOverJsonRpc(writes); });
        for (int i = 0; i < 1000 && writes < 100; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }

        Kill(m_unit.daemon());
        http.join();
        json_rpc.join();
        m_unit.startDaemon();

        EXPECT_GT(over_http, 0);
        EXPECT_GT(over_json_rpc, 0);
        // One more may have been done and not acknowledged.
        const int a = StoredNumberOnce("ram.system.test.a", over_http);
        const int abc = StoredNumberOnce("ram.system.test.static.x.abc", over_json_rpc);
        EXPECT_TRUE(a == over_http || a == over_http + 1) << a << " of " << over_http;
        EXPECT_TRUE(abc == over_json_rpc || abc == over_json_rpc + 1) << abc << " of " << over_json_rpc;
        EXPECT_NE(Get("/example/test").find("\"a\":\"" + std::to_string(a) + "\""), std::string::npos);
    }
}

TEST_F(DaemonFaults, KilledWhileClientsWaitItLeavesNoneOfThemWaiting) {
    RpcClient subscriber = m_unit.rpc();
    Subscribe(subscriber, "/example/test", "null");
    HttpClient idle = m_unit.http();
    ASSERT_EQ(idle.request("GET", "/system/info", "", {"Accept: application/json"}).status, 200);
    HttpClient long_poll = m_unit.http();
    long_poll.send("GET /activity?channel=fedefe&fromId=0 HTTP/1.1\r\nHost: x\r\n\r\n");
    m_unit.database().signal(SIGSTOP);
    HttpClient waiting = BeginGetOfStored("/system/status");

    Kill(m_unit.daemon());

    EXPECT_TRUE(subscriber.isClosed());
    EXPECT_TRUE(idle.awaitClose());
    EXPECT_TRUE(long_poll.awaitClose());
    EXPECT_TRUE(waiting.awaitClose());
    m_unit.database().signal(SIGCONT);
    m_unit.startDaemon();
    EXPECT_NE(Get("/system/status").find(R"("system_status":"READY")"), std::string::npos);
}

}  // namespace
