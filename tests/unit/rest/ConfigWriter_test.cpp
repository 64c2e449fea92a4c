// SPDX-License-Identifier: MIT

#include "src/rest/ConfigWriter.h"

#include <string>
#include <vector>

#include "tests/support/ConfigFixture.h"

namespace {

// Keeps what was written as "key type length".
class RecordingCallback : public WriteCallback {
  public:
    void onConfigWritten(unsigned int count, const config_data_t* data) override {
        ++calls;
        for (unsigned int i = 0; i < count; ++i) {
            written.push_back(std::string(data[i].key) + " " + std::to_string(data[i].type) + " " +
                              std::to_string(data[i].length));
            sizes_and_status_are_zero &= data[i].size == 0 && data[i].status == 0;
        }
        first_value = count > 0 ? data[0].value : nullptr;
    }

    int calls = 0;
    std::vector<std::string> written;
    bool sizes_and_status_are_zero = true;
    const void* first_value = nullptr;
};

class ConfigWriterTest : public ConfigFixture {
  protected:
    ConfigWriter m_writer;
    RecordingCallback m_callback;
};

}  // namespace

TEST_F(ConfigWriterTest, CountsWhatWasPut) {
    int number = 1;
    EXPECT_EQ(m_writer.getSize(), 0U);

    m_writer.putString("x", "cfg.a");
    m_writer.putInt(&number, "cfg.b");

    EXPECT_EQ(m_writer.getSize(), 2U);
}

TEST_F(ConfigWriterTest, WritesAllItemsInOneMessage) {
    int number = 42;
    m_writer.putString("text", "cfg.api.%s.%d", "name", 7);
    m_writer.putInt(&number, "cfg.api.number");

    EXPECT_EQ(m_writer.write(nullptr), 0);

    ASSERT_TRUE(m_database.waitFor("config.writev"));
    int32_t read_back = 0;
    EXPECT_EQ(config_read_int("cfg.api.number", &read_back), 0);
    EXPECT_EQ(read_back, 42);
    EXPECT_EQ(m_database.text("cfg.api.name.7"), "text");
}

TEST_F(ConfigWriterTest, PrintsKeysOfAnyLength) {
    const std::string name(400, 'k');
    m_writer.putString("x", "cfg.%s", name.c_str());

    static_cast<void>(m_writer.write(&m_callback));

    EXPECT_EQ(m_callback.written, std::vector<std::string>{"cfg." + name + " 2 2"});
}

TEST_F(ConfigWriterTest, ReadsAnIntegerWhenItIsWritten) {
    int number = 1;
    m_writer.putInt(&number, "cfg.number");

    number = 2;
    static_cast<void>(m_writer.write(nullptr));

    int32_t read_back = 0;
    EXPECT_EQ(config_read_int("cfg.number", &read_back), 0);
    EXPECT_EQ(read_back, 2);
}

TEST_F(ConfigWriterTest, TellsTheCallbackTheItemsInTheirOrder) {
    int number = 1;
    m_writer.putString("abc", "cfg.z");
    m_writer.putInt(&number, "cfg.a");

    static_cast<void>(m_writer.write(&m_callback));

    EXPECT_EQ(m_callback.written, (std::vector<std::string>{"cfg.z 2 4", "cfg.a 3 4"}));
    EXPECT_TRUE(m_callback.sizes_and_status_are_zero);
    EXPECT_EQ(m_callback.calls, 1);
}

TEST_F(ConfigWriterTest, MakesAnItemOfLengthZeroFromANullString) {
    m_writer.putString(nullptr, "cfg.none");

    static_cast<void>(m_writer.write(&m_callback));

    EXPECT_EQ(m_callback.written, std::vector<std::string>{"cfg.none 2 0"});
    EXPECT_EQ(m_callback.first_value, nullptr);
}

TEST_F(ConfigWriterTest, WritesACountOfZeroWithoutItems) {
    EXPECT_EQ(m_writer.write(&m_callback), 0);

    EXPECT_EQ(m_callback.calls, 1);
    EXPECT_TRUE(m_callback.written.empty());
}

TEST_F(ConfigWriterTest, KeepsItsItemsAfterAWrite) {
    m_writer.putString("x", "cfg.a");

    static_cast<void>(m_writer.write(nullptr));

    EXPECT_EQ(m_writer.getSize(), 1U);
}

TEST_F(ConfigWriterTest, PassesAFailureOnAndDoesNotTellTheCallback) {
    m_writer.putString("x", "cfg.a");
    m_database.closeConnection();
    int32_t unread = 0;
    static_cast<void>(
        config_read_int("cfg.a", &unread));  // the connection is found closed here at the latest

    EXPECT_LT(m_writer.write(&m_callback), 0);

    EXPECT_EQ(m_callback.calls, 0);
}

TEST_F(ConfigWriterTest, SendsNothingWithAValueThatIsTooLongForTheDatabase) {
    const std::string longer(kConfigMaxValueBytes, 'x');  // without its NUL
    m_writer.putString("text", "cfg.a");
    m_writer.putString(longer.c_str(), "cfg.b");

    EXPECT_EQ(m_writer.write(&m_callback), CONFIG_MISMATCH);

    EXPECT_EQ(m_callback.calls, 0);
    // Messages keep their order: had there been one before this read, it would be known here.
    int32_t unread = 0;
    EXPECT_NE(config_read_int("cfg.a", &unread), 0);
    EXPECT_EQ(m_database.text("cfg.a"), "");
}
