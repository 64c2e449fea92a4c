// SPDX-License-Identifier: MIT

#include "src/http/HabController.h"

#include "FrontEnd.h"

namespace {

// Notes which entry was called.
class NotingController : public HabController {
  public:
    int create(HabRequest*) override { return note("create"); }
    int show(HabRequest*) override { return note("show"); }
    int update(HabRequest*) override { return note("update"); }
    int destroy(HabRequest*) override { return note("destroy"); }

    std::vector<std::string> calls;

  private:
    int note(const char* entry) {
        calls.emplace_back(entry);
        return 1;
    }
};

std::vector<std::string> CallsFor(const char* method) {
    NotingController controller;
    LocalRequest request(method, "/a");
    controller.handleRequest(&request);
    return controller.calls;
}

int EntityTypeOf(const char* contentType) {
    LocalRequest request("POST", "/a");
    request.requestHeaders["Content-Type"] = contentType;
    return HabController::getEntityContentType(&request);
}

}  // namespace

TEST(HabController, ShowsForGet) {
    EXPECT_EQ(CallsFor("GET"), std::vector<std::string>{"show"});
}

TEST(HabController, CreatesForPost) {
    EXPECT_EQ(CallsFor("POST"), std::vector<std::string>{"create"});
}

TEST(HabController, UpdatesForPut) {
    EXPECT_EQ(CallsFor("PUT"), std::vector<std::string>{"update"});
}

TEST(HabController, DestroysForDelete) {
    EXPECT_EQ(CallsFor("DELETE"), std::vector<std::string>{"destroy"});
}

TEST(HabController, AnswersBadRequestToAnyOtherMethod) {
    NotingController controller;
    LocalRequest request("", "/a");

    EXPECT_NE(controller.handleRequest(&request), 0);

    EXPECT_EQ(request.answers, std::vector<int>{400});
}

TEST(HabController, AnswersBadRequestWhenTheEntryDoesNotHandle) {
    HabController controller;
    LocalRequest request("GET", "/a");
    const CapturedLog log;

    controller.handleRequest(&request);

    EXPECT_EQ(request.answers, std::vector<int>{400});
    EXPECT_TRUE(log.has("3 src/HabController: Request not successfully handled!"));
}

TEST(HabController, LogsMethodUriAndQuery) {
    HabController controller;
    LocalRequest request("GET", "/a", "b=1");
    const CapturedLog log;

    controller.handleRequest(&request);

    EXPECT_TRUE(log.has("7 src/HabController: HabController::handleRequest: GET URI: /a, query: b=1"));
}

TEST(HabController, NamesTheDestroyEntryDeleteInTheLog) {
    HabController controller;
    LocalRequest request("DELETE", "/a");
    const CapturedLog log;

    EXPECT_EQ(controller.destroy(&request), 0);

    EXPECT_TRUE(log.has("7 src/HabController: HabController::delete"));
}

TEST(HabController, DoesNotHandleIndexByItself) {
    HabController controller;
    LocalRequest request("GET", "/a");

    EXPECT_EQ(controller.index(&request), 0);
}

TEST(HabController, NeverStreams) {
    HabController controller;
    LocalRequest request("POST", "/a");

    EXPECT_FALSE(controller.isStreaming(&request));
}

TEST(HabControllerAnswers, RespondWithThePrintedBodyAsJson) {
    LocalRequest request("GET", "/a");
    const JsonPtr body(cJSON_Parse("[1]"));

    HabController::respond(&request, body.get());

    EXPECT_EQ(request.answers, std::vector<int>{200});
    EXPECT_EQ(request.body, "[1]");
    EXPECT_EQ(request.headers["Content-Type"], "application/json");
}

TEST(HabControllerAnswers, HaveNoContentTypeWithoutABody) {
    LocalRequest request("GET", "/a");

    HabController::respond(&request, nullptr);

    EXPECT_TRUE(request.headers.empty());
    EXPECT_EQ(request.body, "");
}

TEST(HabControllerAnswers, TakePercentSignsOfTheBodyAsTheyAre) {
    LocalRequest request("GET", "/a");
    const JsonPtr body(cJSON_CreateString("%s%n"));

    HabController::respond(&request, body.get());

    EXPECT_EQ(request.body, "\"%s%n\"");
}

TEST(HabControllerAnswers, GiveAnErrorThePhraseOfItsStatus) {
    LocalRequest request("GET", "/a");

    HabController::error(&request, nullptr, StatusCode::kConflict);

    EXPECT_EQ(request.answers, std::vector<int>{409});
    EXPECT_EQ(request.reasons, std::vector<std::string>{"Conflict"});
}

TEST(HabControllerAnswers, GiveAnErrorItsOwnText) {
    LocalRequest request("GET", "/a");

    HabController::error(&request, nullptr, 409, "Taken");

    EXPECT_EQ(request.reasons, std::vector<std::string>{"Taken"});
}

TEST(HabControllerContentTypes, AskTheRequestWhatTheClientTakes) {
    LocalRequest request("GET", "/a");

    EXPECT_EQ(HabController::getRequestContentType(&request), 1);
}

TEST(HabControllerContentTypes, AreTwoForHtmlWithACharset) {
    EXPECT_EQ(EntityTypeOf("text/html; charset=utf-8"), 2);
}

TEST(HabControllerContentTypes, AreOneForJson) {
    EXPECT_EQ(EntityTypeOf("application/json"), 1);
}

TEST(HabControllerContentTypes, AreZeroForPlainText) {
    EXPECT_EQ(EntityTypeOf("text/plain"), 0);
}

TEST(HabControllerContentTypes, PreferHtmlOverJson) {
    EXPECT_EQ(EntityTypeOf("application/json, text/html"), 2);
}

TEST(HabControllerContentTypes, AreZeroWithoutTheHeader) {
    LocalRequest request("POST", "/a");

    EXPECT_EQ(HabController::getEntityContentType(&request), 0);
}
