// SPDX-License-Identifier: MIT

#include "push_loads.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <random>
#include <string>
#include <thread>

#include "ApiClients.h"
#include "Sequence.h"
#include "json_answers.h"

namespace {

constexpr const char* kPublished = "published";
constexpr const char* kPolled = "long polls";
constexpr const char* kChannel = "soak";
constexpr size_t kPollers = 3;
// The channel keeps 100 at least; a publisher may be one burst ahead of this.
constexpr long kMaxAhead = 50;
constexpr int kMaxAtOnce = 5;

// What publisher and pollers of a channel know of each other.
struct Channel {
    std::atomic<long> published = 0;
    std::atomic<long> polled[kPollers] = {};

    [[nodiscard]] long slowest() const {
        return *std::ranges::min_element(polled, {}, [](const auto& count) { return count.load(); });
    }
};

class Publisher : public Load {
  public:
    Publisher(const Soak& soak, std::shared_ptr<Channel> channel)
        : m_soak(soak), m_client(soak.unit.http()), m_channel(std::move(channel)) {}
    void step() override {
        // Time for all to wait again, most of the time.
        std::this_thread::sleep_for(std::chrono::milliseconds(m_pause_ms(m_random)));
        if (m_channel->published - m_channel->slowest() > kMaxAhead) {
            return;
        }
        for (int i = m_count(m_random); i > 0; --i) {
            publish(m_channel->published + 1);
        }
    }
    [[nodiscard]] bool isSource() const override { return true; }
    void finish() override { m_client.close(); }

  private:
    void publish(long number) {
        const HttpResponse answer = m_client.request("POST", std::string("/publish?channel=") + kChannel,
                                                     R"({"number": )" + std::to_string(number) + "}");
        m_soak.tally.check(kPublished, "200", std::to_string(answer.status));
        m_channel->published = number;
    }

    Soak m_soak;
    HttpClient m_client;
    std::shared_ptr<Channel> m_channel;
    std::mt19937 m_random{2};
    std::uniform_int_distribution<int> m_pause_ms{0, 5};
    std::uniform_int_distribution<int> m_count{1, kMaxAtOnce};
};

class Poller : public Load {
  public:
    Poller(const Soak& soak, std::shared_ptr<Channel> channel, size_t index)
        : m_soak(soak),
          m_client(soak.unit, soak.tally, kPolled, WebClient::Connection::kKept,
                   WebClient::Cookie::kSentBack),
          m_channel(std::move(channel)),
          m_index(index),
          m_heard(soak.tally, kPolled) {}
    void step() override { poll(); }
    void finish() override {
        while (m_heard.last() < m_channel->published && poll()) {
        }
        m_channel->polled[m_index] = std::numeric_limits<long>::max();  // nobody waits for it any more
        m_client.close();
    }

  private:
    bool poll() {
        const std::string target =
            std::string("/activity?channel=") + kChannel + "&fromId=" + std::to_string(m_last_id);
        const HttpResponse answer = m_client.ask("GET", target);
        const std::string instance = answer.header("X-Server-instance");
        m_instance = m_instance.empty() ? instance : m_instance;
        m_soak.tally.check(kPolled, "200 of " + m_instance,
                           std::to_string(answer.status) + " of " + instance);
        const JsonPtr body(cJSON_Parse(answer.body.c_str()));
        const cJSON* const events = Member(body, {"settings-update"});
        if (cJSON_GetArraySize(events) == 0) {
            m_soak.tally.countError(kPolled, "no event: " + answer.body);
            return false;
        }
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, events) {
            m_soak.tally.countNotified();
            m_heard.hear(number(event, "number"));
            m_last_id = number(event, "id");
        }
        m_channel->polled[m_index] = m_heard.last();
        return true;
    }
    static long number(const cJSON* event, const char* name) {
        return static_cast<long>(cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(event, name)));
    }

    Soak m_soak;
    WebClient m_client;
    std::shared_ptr<Channel> m_channel;
    size_t m_index;
    Sequence m_heard;
    std::string m_instance;
    long m_last_id = 0;
};

}  // namespace

std::vector<std::unique_ptr<Load>> make_push_channel(const Soak& soak) {
    const auto channel = std::make_shared<Channel>();
    std::vector<std::unique_ptr<Load>> loads;
    for (size_t i = 0; i < kPollers; ++i) {
        loads.push_back(std::make_unique<Poller>(soak, channel, i));
    }
    loads.push_back(std::make_unique<Publisher>(soak, channel));
    return loads;
}
