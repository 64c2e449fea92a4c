// SPDX-License-Identifier: MIT

#include "src/rest/SubscriberNotice.h"

#include <functional>
#include <list>
#include <memory>
#include <set>

#include "tests/support/RestFixture.h"

namespace {

// A connection on which something happens while it is sent to.
class EventfulTransport : public RPCTransport {
  public:
    EventfulTransport(RPCServer* server, std::function<void()> on_send)
        : RPCTransport(server), m_on_send(std::move(on_send)) {}
    void sendData(const char*) override { m_on_send(); }

  private:
    std::function<void()> m_on_send;
};

// Tells where the texts lie that it is sent.
class WatchedTransport : public RPCTransport {
  public:
    WatchedTransport(RPCServer* server, std::function<void(const char*)> on_send)
        : RPCTransport(server), m_on_send(std::move(on_send)) {}
    void sendData(const char* text) override {
        ++m_sent;
        m_on_send(text);
    }
    [[nodiscard]] int sent() const { return m_sent; }

  private:
    std::function<void(const char*)> m_on_send;
    int m_sent = 0;
};

class SubscriberNoticeTest : public RestFixture {
  protected:
    using Record = SubscriptionRules::subscription;
    using DataInclude = SubscriptionRules::DataInclude;

    // How many different texts lie in memory when notifications wait behind the answer to a request, one for each of
    // the connections, who all want this.
    std::size_t textsThatWaitFor(std::size_t connections, DataInclude include) {
        std::set<const char*> texts;
        std::list<WatchedTransport> transports;
        std::list<Record> records;
        auto to = std::make_unique<SubscriptionRules::NotifyMap>();
        for (unsigned int number = 1000; number < 1000 + connections; ++number) {
            transports.emplace_back(&m_server, [&texts](const char* text) { texts.insert(text); });
            transports.back().setSessionId("watched");
            transports.back().setSessionNumberId(number);
            m_notifications.addTransport(&transports.back());
            records.emplace_back().data_include = include;
            to->emplace(number, &records.back());
        }
        const SubscriberNotice notice(&m_controller, to.release(), "/api/a");
        ScriptedMethod change([&](cJSON*, bool&, RPCTransport*) {
            notice.updated(m_data.get(), [] { return parse(R"({"y": 2})"); });
            return JsonPtr();
        });
        // A name keeps its first method.
        const std::string name = "change" + std::to_string(static_cast<int>(include));
        m_server.registerMethod(name, &change);
        m_server.handleMessage(parse(R"({"method": ")" + name + "\"}").get(), &m_first.transport());
        for (WatchedTransport& transport : transports) {
            EXPECT_EQ(transport.sent(), 1);
            m_notifications.removeTransport(&transport);
        }
        return texts.size();
    }

    // To both clients, who want the given kinds of data.
    SubscriberNotice noticeFor(DataInclude first, DataInclude second) {
        m_records[0].data_include = first;
        m_records[1].data_include = second;
        auto to = std::make_unique<SubscriptionRules::NotifyMap>();
        to->emplace(m_first.number(), &m_records[0]);
        to->emplace(m_second.number(), &m_records[1]);
        return {&m_controller, to.release(), "/api/a"};
    }

    JsonPtr m_data = parse(R"({"x": 1, "y": 2})");
    Record m_records[2];
};

}  // namespace

TEST_F(SubscriberNoticeTest, TellsNobodyWithoutAMap) {
    const SubscriberNotice notice(&m_controller, nullptr, "/api/a");

    notice.created(m_data.get());
    notice.deleted();

    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(SubscriberNoticeTest, TellsNobodyWithoutAController) {
    const SubscriberNotice notice(nullptr, new SubscriptionRules::NotifyMap{{1, &m_records[0]}}, "/api/a");

    notice.deleted();

    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(SubscriberNoticeTest, LeavesTheDataOutOfACreationForNoneAlone) {
    noticeFor(DataInclude::kNone, DataInclude::kUpdated).created(m_data.get());

    EXPECT_EQ(m_first.told(), Lines{"Created /api/a -"});
    EXPECT_EQ(m_second.told(), Lines{R"(Created /api/a {"x":1,"y":2})"});
}

TEST_F(SubscriberNoticeTest, GivesAnUpdateWholeOrChangedAttributesOnly) {
    noticeFor(DataInclude::kAll, DataInclude::kUpdated).updated(m_data.get(), [] {
        return parse(R"({"y": 2})");
    });

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/a {"x":1,"y":2})"});
    EXPECT_EQ(m_second.told(), Lines{R"(Updated /api/a {"y":2})"});
}

TEST_F(SubscriberNoticeTest, MakesTheChangedAttributesOnceForAll) {
    int made = 0;

    noticeFor(DataInclude::kUpdated, DataInclude::kUpdated).updated(m_data.get(), [&made] {
        ++made;
        return parse("{}");
    });

    EXPECT_EQ(made, 1);
}

TEST_F(SubscriberNoticeTest, MakesNoChangedAttributesThatNobodyWants) {
    int made = 0;

    noticeFor(DataInclude::kAll, DataInclude::kNone).updated(m_data.get(), [&made] {
        ++made;
        return parse("{}");
    });

    EXPECT_EQ(made, 0);
    EXPECT_EQ(m_second.told(), Lines{"Updated /api/a -"});
}

TEST_F(SubscriberNoticeTest, KeepsOneTextForAllThatAreToldTheSame) {
    EXPECT_EQ(textsThatWaitFor(250, DataInclude::kAll), 1U);
    EXPECT_EQ(textsThatWaitFor(250, DataInclude::kUpdated), 1U);
    EXPECT_EQ(textsThatWaitFor(250, DataInclude::kNone), 1U);
}

TEST_F(SubscriberNoticeTest, GoesOnWhenANotificationEndsEverySubscription) {
    auto* const node = new BasePathHandler;
    m_controller.addPathHandler("a", node);
    HabSessionImpl session("eventful");
    EventfulTransport transport(&m_server, [&] {
        BaseApiController::sessionEnded(session.getNumberId());
        BaseApiController::sessionEnded(m_first.number());
    });
    transport.setSessionId("eventful");
    transport.setSessionNumberId(m_first.number());
    m_notifications.removeTransport(&m_first.transport());
    m_notifications.addTransport(&transport);
    subscribe(m_first, "/api/a");
    subscribe(m_second, "/api/a");

    node->notifyCreated(m_data.get());

    EXPECT_EQ(m_second.told(), Lines{R"(Created /api/a {"x":1,"y":2})"});
    EXPECT_EQ(node->getSubscription(m_first.number()), nullptr);
    m_notifications.removeTransport(&transport);
}
