// SPDX-License-Identifier: MIT

#include "change_loads.h"

#include <cstdlib>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "ApiClients.h"
#include "OtherProgram.h"
#include "Sequence.h"

namespace {

constexpr const char* kKey = "ram.system.test.c";
constexpr const char* kResource = "/example/test";
constexpr const char* kStaying = "changes";
constexpr const char* kPassing = "subscriptions";
constexpr int kMaxAtOnce = 16;
constexpr int kHeardByOne = 20;

// The number in `Updated /example/test {...,"c":7}`, which others change too; 0 for a change of something else.
long number_of(const std::string& told) {
    const size_t at = told.find(R"("c":)");
    return at == std::string::npos ? 0 : std::strtol(told.c_str() + at + 4, nullptr, 10);
}

// The next change that the connection is told; one that does not come has been counted.
void hear_next(ApiConnection& connection, Sequence& heard) {
    const std::string told = connection.told();
    if (!told.empty()) {
        heard.hear(number_of(told));
    }
}

class Changes : public Load {
  public:
    explicit Changes(const Soak& soak) : m_soak(soak), m_other(soak.unit) {
        for (int i = 0; i < 3; ++i) {
            add("UPDATED");
            add("ALL");
            add("NONE");
        }
    }
    void step() override {
        const int count = std::uniform_int_distribution(1, kMaxAtOnce)(m_random);
        for (int i = 0; i < count; ++i) {
            m_soak.tally.check(kStaying, "0", std::to_string(config_write_int(kKey, ++m_value)));
        }
        for (Subscriber& subscriber : m_subscribers) {
            for (int i = 0; i < count; ++i) {
                hear(subscriber);
            }
        }
        m_soak.rounds.finishOne();
    }
    [[nodiscard]] bool isSource() const override { return true; }
    void finish() override {
        for (Subscriber& subscriber : m_subscribers) {
            subscriber.connection.expectNothingTold();
        }
        m_subscribers.clear();
    }

  private:
    struct Subscriber {
        ApiConnection connection;
        Sequence heard;
        bool without_data;
    };

    void add(const std::string& include) {
        m_subscribers.push_back({ApiConnection(m_soak.unit, m_soak.tally, kStaying),
                                 Sequence(m_soak.tally, kStaying), include == "NONE"});
        Subscriber& added = m_subscribers.back();
        // A resource follows its keys from the first request on.
        added.connection.call("read", kResource);
        added.connection.subscribe(kResource, include);
    }
    void hear(Subscriber& subscriber) {
        if (subscriber.without_data) {
            subscriber.connection.expectTold("Updated /example/test -");
        } else {
            hear_next(subscriber.connection, subscriber.heard);
        }
    }

    Soak m_soak;
    OtherProgram m_other;
    std::mt19937 m_random{1};
    int m_value = 0;
    std::list<Subscriber> m_subscribers;
};

class PassingSubscriber : public Load {
  public:
    explicit PassingSubscriber(const Soak& soak) : m_soak(soak) {}
    void step() override {
        ApiConnection connection(m_soak.unit, m_soak.tally, kPassing);
        Sequence heard(m_soak.tally, kPassing);
        connection.subscribe(kResource, "UPDATED");
        for (int i = 0; i < kHeardByOne; ++i) {
            hear_next(connection, heard);
        }
        const std::string subscription = std::string("/example/subscriptions") + kResource;
        connection.expect("200", "delete", subscription);
        // What came in front of the answer; nothing after it.
        while (connection.hasTold()) {
            hear_next(connection, heard);
        }
        connection.expect("404 Not Found", "delete", subscription);
        connection.expectNothingTold();
    }

  private:
    Soak m_soak;
};

}  // namespace

std::unique_ptr<Load> make_changes(const Soak& soak) {
    return std::make_unique<Changes>(soak);
}

std::unique_ptr<Load> make_passing_subscriber(const Soak& soak) {
    return std::make_unique<PassingSubscriber>(soak);
}
