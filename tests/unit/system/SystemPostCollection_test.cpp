// SPDX-License-Identifier: MIT

#include "src/system/SystemPostCollection.h"

#include <gtest/gtest.h>

#include "SystemFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

constexpr const char* kUri = "/system/post";

class SystemPostCollectionTest : public SystemFixture {
  protected:
    SystemPostCollectionTest() { m_controller.addPathHandler("post", new SystemPostCollection); }
};

}  // namespace

TEST(SystemPostCollectionLog, TellsOfBeginAndEnd) {
    const CapturedLog log;
    { const SystemPostCollection collection; }

    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{"6 src/SystemPostCollection: SystemPostCollection() Constructor",
                                        "6 src/SystemPostCollection: SystemPostCollection() destructor."}));
}

TEST_F(SystemPostCollectionTest, ReadsAsAnEmptyList) {
    EXPECT_EQ(get(kUri), (Answer{200, "[]"}));
}

TEST_F(SystemPostCollectionTest, HasNoEntries) {
    EXPECT_EQ(get("/system/post/0").status, 404);
    EXPECT_EQ(ask("PUT", "/system/post/0", R"({"data":{}})").status, 404);
    EXPECT_EQ(ask("DELETE", "/system/post/0").status, 404);
}

TEST_F(SystemPostCollectionTest, IsReadOnly) {
    EXPECT_EQ(ask("POST", kUri, R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("PUT", kUri, R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("DELETE", kUri).status, 405);
}
