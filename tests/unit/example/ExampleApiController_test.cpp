// SPDX-License-Identifier: MIT

#include "src/example/ExampleApiController.h"

#include <gtest/gtest.h>

#include "ExampleFixture.h"

namespace {

class ExampleApiControllerTest : public ExampleFixture {};

}  // namespace

TEST_F(ExampleApiControllerTest, ServesTheTestObjectAndItsTwoCollections) {
    EXPECT_EQ(get("/example/test").status, 200);
    EXPECT_EQ(get("/example/test/static").status, 200);
    EXPECT_EQ(get("/example/test/dynamic").status, 200);
}

TEST_F(ExampleApiControllerTest, HasTheCollectionsBelowTheObjectOnly) {
    EXPECT_EQ(get("/example/static").status, 404);
    EXPECT_EQ(get("/example/dynamic").status, 404);
    EXPECT_EQ(get("/example/test/test").status, 404);
}

TEST_F(ExampleApiControllerTest, AnswersNotFoundForItselfAndForUnknownResources) {
    EXPECT_EQ(get("/example").status, 404);
    EXPECT_EQ(get("/example/nothing").status, 404);
    EXPECT_EQ(get("/example/test/nothing").status, 404);
}

TEST_F(ExampleApiControllerTest, NamesItsResourcesByTheirFullPath) {
    EXPECT_EQ(subscribe(m_client, "/example/test"), 201);
    EXPECT_EQ(subscribe(m_client, "/example/test/dynamic"), 201);
    EXPECT_EQ(subscribe(m_client, "/example/test/static/x"), 201);

    EXPECT_EQ(get("/example/subscriptions").json,
              R"([{"api_path":"/example/test","recursive":false,"data_include":"ALL"},)"
              R"({"api_path":"/example/test/dynamic/","recursive":false,"data_include":"ALL"},)"
              R"({"api_path":"/example/test/static/x","recursive":false,"data_include":"ALL"}])");
}

TEST_F(ExampleApiControllerTest, AsksTheDatabaseNothingBeforeTheFirstRequest) {
    EXPECT_EQ(sent("config.readm"), 0);

    EXPECT_EQ(get("/example/test").status, 200);

    EXPECT_EQ(sent("config.readm"), 1);
}

TEST_F(ExampleApiControllerTest, HandsItsConnectionsToTheResources) {
    EXPECT_EQ(m_controller.getCBusConnection(), m_bus.get());
    EXPECT_EQ(m_controller.getNotificationManager(), &m_notifications);
    EXPECT_EQ(m_controller.getFdloop(), m_loop.get());
}
