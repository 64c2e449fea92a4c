// SPDX-License-Identifier: MIT

#include "src/rpc/rest_bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/base/date_time.h"
#include "src/http/HabConfig.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabHandler.h"
#include "src/http/HabRequest.h"
#include "src/http/HabSession.h"
#include "src/rpc/NotificationManager.h"
#include "src/rpc/RPCRequest.h"
#include "src/rpc/RPCServer.h"
#include "tests/support/RpcFakes.h"
#include "tests/support/TempDirectory.h"

using ::testing::ElementsAre;

namespace {

// Configuration and access map of the process: everything is open but what lies below /closed.
class FrontEndFiles : public ::testing::Environment {
  public:
    void SetUp() override {
        m_directory.write("configuration.json", R"({"hab.path": "", "hab.session.timeout": 300})");
        m_directory.write("accessmap.json",
                          R"({"/": {"GET": 0, "PUT": 0, "POST": 0, "DELETE": 0}, "/closed": {"GET": 1}})");
        HabApplication::initialize(m_directory.path());
    }

  private:
    TempDirectory m_directory;
};

[[maybe_unused]] const auto* const front_end = ::testing::AddGlobalTestEnvironment(new FrontEndFiles);

// A resource that answers what the test says.
class ScriptedHandler : public HabHandler {
  public:
    int handleRequest(HabRequest* request) override {
        sessions.push_back(request->getSession()->getNumberId());
        method = request->getMethod();
        path = request->getURI();
        if (answer) {
            answer(request);
        }
        return 1;
    }

    std::function<void(HabRequest*)> answer;
    std::vector<unsigned int> sessions;
    std::string method;
    std::string path;
};

unsigned long long clock_ms = 0;

class RestBridgeTest : public ::testing::Test {
  protected:
    RestBridgeTest() {
        HabSessionImpl::setClock([] { return utilities::DateTime(clock_ms); });
        HabDispatcher::registerUri("/resource", 15, &resource);
        HabDispatcher::registerUri("/closed", 15, &resource);
        server.registerMethod("create", &rpc_create);
        server.registerMethod("Create", &rpc_create);
        server.registerMethod("read", &rpc_read);
        server.registerMethod("Read", &rpc_read);
        server.registerMethod("update", &rpc_update);
        server.registerMethod("Update", &rpc_update);
        server.registerMethod("delete", &rpc_delete);
        server.registerMethod("Delete", &rpc_delete);
        server.registerTransportLisetner(&listener);
        RPCTransport::add(&transport);
    }

    ~RestBridgeTest() override {
        listener.onRemove = nullptr;
        RPCTransport::remove(&transport);
        HabDispatcher::clear();
        HabSessionImpl::setClock(nullptr);
    }

    // The answer of a call as one line, without the envelope's "jsonrpc".
    std::string Call(const std::string& method, const std::string& params) {
        const JsonPtr message = parse(R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" +
                                      params + R"(, "id": 1})");
        const size_t before = transport.texts().size();
        transport.dataReceived(message.get());
        const JsonPtr response = parse(transport.texts().at(before));
        cJSON_DeleteItemFromObject(response.get(), "jsonrpc");
        return print_compact(response.get());
    }

    void Answer(int status, const char* body, const char* path = nullptr) {
        resource.answer = [status, body, path](HabRequest* request) { request->reply(status, body, path); };
    }

    RecordingListener listener;
    RPCServer server;
    RecordingTransport transport{&server};
    NotificationManager notifications;
    RPCCreate rpc_create{&notifications};
    RPCRead rpc_read{&notifications};
    RPCUpdate rpc_update{&notifications};
    RPCDelete rpc_delete{&notifications};
    ScriptedHandler resource;
};

}  // namespace

TEST_F(RestBridgeTest, ReadsAsAResultWithCodeAndData) {
    Answer(200, R"({"a": 1})");

    EXPECT_EQ(Call("read", R"({"path": "/resource"})"), R"({"result":{"code":200,"data":{"a":1}},"id":1})");
    EXPECT_EQ(resource.method, "GET");
    EXPECT_EQ(resource.path, "/resource");
}

TEST_F(RestBridgeTest, CreatesWithPost) {
    Answer(201, "{}", "/resource/7");

    EXPECT_EQ(Call("create", R"({"path": "/resource"})"),
              R"({"result":{"code":201,"path":"/resource/7","data":{}},"id":1})");
    EXPECT_EQ(resource.method, "POST");
}

TEST_F(RestBridgeTest, NamesThePathOfTheCallWhenTheReplyNamesNone) {
    Answer(201, "{}");

    EXPECT_EQ(Call("create", R"({"path": "/resource/sub"})"),
              R"({"result":{"code":201,"path":"/resource/sub","data":{}},"id":1})");
}

TEST_F(RestBridgeTest, UpdatesWithPut) {
    Answer(202, nullptr);

    EXPECT_EQ(Call("update", R"({"path": "/resource"})"), R"({"result":{"code":202},"id":1})");
    EXPECT_EQ(resource.method, "PUT");
}

TEST_F(RestBridgeTest, DeletesWithDelete) {
    Answer(200, nullptr);

    EXPECT_EQ(Call("delete", R"({"path": "/resource"})"), R"({"result":{"code":200},"id":1})");
    EXPECT_EQ(resource.method, "DELETE");
}

TEST_F(RestBridgeTest, AnswersCapitalisedNamesAlike) {
    Answer(201, "{}");

    for (const auto& [capitalised, plain] : {std::pair{"Create", "create"}, std::pair{"Read", "read"},
                                             std::pair{"Update", "update"}, std::pair{"Delete", "delete"}}) {
        const std::string answer = Call(plain, R"({"path": "/resource"})");
        const std::string method = std::exchange(resource.method, "");

        EXPECT_EQ(Call(capitalised, R"({"path": "/resource"})"), answer);
        EXPECT_EQ(resource.method, method) << capitalised;
    }
}

TEST_F(RestBridgeTest, GivesTheHandlerTheRestOfTheParamsAsBody) {
    std::string body;
    resource.answer = [&body](HabRequest* request) {
        body = print_compact(JsonPtr(request->readJSONBody()).get());
        request->replyFinish(StatusCode::kOk);
    };

    Call("update", R"({"path": "/resource", "data": {"a": "b"}})");

    EXPECT_EQ(body, R"({"data":{"a":"b"}})");
}

TEST_F(RestBridgeTest, LeavesOutAReplyBodyThatIsNotJson) {
    Answer(200, "plain text");

    EXPECT_EQ(Call("read", R"({"path": "/resource"})"), R"({"result":{"code":200},"id":1})");
}

TEST_F(RestBridgeTest, AnswersARefusalAsErrorWithTheReasonPhrase) {
    Answer(409, R"({"why": "twice"})");

    EXPECT_EQ(Call("create", R"({"path": "/resource"})"),
              R"({"error":{"code":409,"data":{"why":"twice"},"message":"Conflict"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersAStatusWithoutPhraseWithADash) {
    Answer(418, nullptr);

    EXPECT_EQ(Call("read", R"({"path": "/resource"})"), R"({"error":{"code":418,"message":"-"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersStatus300AsError) {
    Answer(300, nullptr);

    EXPECT_EQ(Call("read", R"({"path": "/resource"})"),
              R"({"error":{"code":300,"message":"Multiple Choices"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersCodeZeroForAHandlerThatAnswersNothing) {
    EXPECT_EQ(Call("read", R"({"path": "/resource"})"), R"({"error":{"code":0,"message":"-"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersAnUnknownPathWithNotFound) {
    EXPECT_EQ(Call("read", R"({"path": "/nowhere"})"),
              R"({"error":{"code":404,"message":"Not Found"},"id":1})");
}

TEST_F(RestBridgeTest, RefusesAPathAboveTheAccessLevelOfTheSession) {
    Answer(200, "{}");

    // The refusal leaves the request without handler, and the dispatcher's second word is the last.
    EXPECT_EQ(Call("read", R"({"path": "/closed"})"),
              R"({"error":{"code":404,"message":"Not Found"},"id":1})");
    EXPECT_TRUE(resource.sessions.empty());
}

TEST_F(RestBridgeTest, AnswersParamsWithoutPathAsInvalidRequest) {
    EXPECT_EQ(Call("read", R"({"data": 1})"),
              R"({"error":{"code":-32600,"message":"Invalid Request"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersAPathThatIsNoTextAsInvalidRequest) {
    EXPECT_EQ(Call("read", R"({"path": 1})"),
              R"({"error":{"code":-32600,"message":"Invalid Request"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersParamsThatAreNoObjectAsInvalidRequest) {
    EXPECT_EQ(Call("read", R"(["path", "/resource"])"),
              R"({"error":{"code":-32600,"message":"Invalid Request"},"id":1})");
}

TEST_F(RestBridgeTest, AnswersACallWithoutParamsAsInvalidRequest) {
    transport.dataReceived(parse(R"({"jsonrpc": "2.0", "method": "read", "id": 1})").get());

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32600,"message":"Invalid Request"},"id":1})"));
}

TEST_F(RestBridgeTest, AnswersAnEmptyPathWithNotFound) {
    EXPECT_EQ(Call("read", R"({"path": ""})"), R"({"error":{"code":404,"message":"Not Found"},"id":1})");
}

TEST_F(RestBridgeTest, RefusesAPathThatIsLongerThanARequestOverHttpMayBe) {
    EXPECT_EQ(Call("read", "{\"path\": \"/" + std::string(65536, 'a') + "\"}"),
              R"({"error":{"code":400,"message":"Bad Request"},"id":1})");
}

TEST_F(RestBridgeTest, GivesAConnectionOneSessionForAllItsCalls) {
    Call("read", R"({"path": "/resource"})");
    const std::string id = transport.getSessionId();

    Call("read", R"({"path": "/resource"})");

    EXPECT_THAT(resource.sessions,
                ElementsAre(transport.getSessionNumberId(), transport.getSessionNumberId()));
    EXPECT_EQ(transport.getSessionId(), id);
}

TEST_F(RestBridgeTest, MakesOneSessionWhenTheFirstCallFindsNoHandler) {
    Call("read", R"({"path": "/nowhere"})");
    const unsigned int number = transport.getSessionNumberId();

    Call("read", R"({"path": "/resource"})");

    EXPECT_NE(number, 0U);
    EXPECT_THAT(resource.sessions, ElementsAre(number));
}

TEST_F(RestBridgeTest, MakesNoSessionForACallWithoutPath) {
    Call("read", "{}");

    EXPECT_EQ(transport.getSessionId(), nullptr);
}

TEST_F(RestBridgeTest, GivesEveryConnectionASessionOfItsOwn) {
    RecordingTransport other(&server);
    Call("read", R"({"path": "/resource"})");

    other.dataReceived(
        parse(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/resource"}})").get());

    EXPECT_NE(other.getSessionNumberId(), transport.getSessionNumberId());
    EXPECT_STRNE(other.getSessionId(), transport.getSessionId());
}

TEST_F(RestBridgeTest, NotifiesTheSessionOfAConnectionFromItsFirstCallOn) {
    resource.answer = [this](HabRequest* request) {
        notifications.notifyDeleted(request->getSession()->getNumberId(), "/resource");
        request->replyFinish(StatusCode::kOk);
    };

    const std::string response = Call("read", R"({"path": "/resource"})");

    EXPECT_EQ(response, R"({"result":{"code":200},"id":1})");
    EXPECT_EQ(transport.messages().back(),
              R"({"jsonrpc":"2.0","method":"Deleted","params":{"path":"/resource"}})");
}

TEST_F(RestBridgeTest, NotifiesTheOldAndTheNewSessionOfAConnectionThatSatIdleTooLong) {
    HabSessionImpl::Hold subscription;
    resource.answer = [&subscription](HabRequest* request) {
        if (subscription.use_count() == 0) {
            subscription = HabSessionImpl::hold(request->getSession(), HabSessionImpl::HeldBy::kSubscription);
        }
        request->reply(200, "{}", nullptr);
    };
    Call("read", R"({"path": "/resource"})");
    clock_ms += 301 * 1000;
    Call("read", R"({"path": "/resource"})");
    const size_t before = transport.texts().size();

    notifications.notifyDeleted(resource.sessions.at(0), "/resource");
    notifications.notifyDeleted(resource.sessions.at(1), "/resource");

    EXPECT_NE(resource.sessions.at(0), resource.sessions.at(1));
    EXPECT_EQ(transport.getSessionNumberId(), resource.sessions.at(1));
    EXPECT_EQ(transport.texts().size(), before + 2);
}

TEST_F(RestBridgeTest, ForgetsASessionWithoutSubscriptionsThatSatIdleTooLong) {
    Call("read", R"({"path": "/resource"})");
    clock_ms += 301 * 1000;
    Call("read", R"({"path": "/resource"})");
    const size_t before = transport.texts().size();

    notifications.notifyDeleted(resource.sessions.at(0), "/resource");

    EXPECT_NE(resource.sessions.at(0), resource.sessions.at(1));
    EXPECT_EQ(transport.texts().size(), before);
    EXPECT_THAT(transport.getFormerSessionNumberIds(), ElementsAre());
    EXPECT_EQ(HabSessionImpl::holdsOf(resource.sessions.at(0)), 0U);
    EXPECT_EQ(HabSessionImpl::holdsOf(resource.sessions.at(1)), 1U);
}

TEST_F(RestBridgeTest, KeepsTheSessionOfItsConnectionHoweverManyOthersThereAre) {
    Call("read", R"({"path": "/resource"})");
    for (size_t i = 0; i < HabSessionImpl::kMaxSessions; ++i) {
        RecordingTransport other(&server);
        RPCRequest request("GET", "/", nullptr, &other);
        HabSessionImpl::sessionForRequest(&request);
    }

    Call("read", R"({"path": "/resource"})");

    EXPECT_EQ(resource.sessions.at(0), resource.sessions.at(1));
}

TEST_F(RestBridgeTest, SurvivesTheEndOfTheConnectionDuringItsCall) {
    listener.onRemove = [this](RPCTransport* ended) {
        notifications.removeTransport(ended);
        HabDispatcher::sessionEnded(ended->getSessionId());
    };
    auto gone = std::make_unique<RecordingTransport>(&server);
    RPCTransport::add(gone.get());
    resource.answer = [&gone](HabRequest* request) {
        RPCTransport::remove(gone.get());
        gone.reset();
        request->reply(200, "{}", nullptr);
    };

    gone->dataReceived(
        parse(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/resource"}, "id": 1})").get());

    EXPECT_EQ(gone, nullptr);
    EXPECT_EQ(resource.sessions.size(), 1U);
}

TEST_F(RestBridgeTest, KnowsTheClientOfTheCallInProgressOnly) {
    RPCTransport* during = nullptr;
    resource.answer = [&during](HabRequest*) { during = RestMethod::client; };

    Call("read", R"({"path": "/resource"})");

    EXPECT_EQ(during, &transport);
    EXPECT_EQ(RestMethod::client, nullptr);
}
