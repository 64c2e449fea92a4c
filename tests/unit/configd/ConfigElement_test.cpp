// SPDX-License-Identifier: MIT

#include "device/configd/ConfigElement.h"

#include <gtest/gtest.h>

#include "Values.h"

namespace {

int32_t CheckKey(const std::string& key) {
    return config_element_check({key, Number(1), 0});
}
int32_t CheckValue(const ConfigValue& value) {
    return config_element_check({"ram.a", value, 0});
}

}  // namespace

TEST(ConfigKeyTree, ConfigurationAndTextsPersist) {
    EXPECT_EQ(config_key_tree("cfg.a"), KeyTree::kPersistent);
    EXPECT_EQ(config_key_tree("txt.a"), KeyTree::kPersistent);
}

TEST(ConfigKeyTree, RunTimeAndDynamicValuesDoNot) {
    EXPECT_EQ(config_key_tree("ram.a"), KeyTree::kVolatile);
    EXPECT_EQ(config_key_tree("dyn.a"), KeyTree::kVolatile);
}

TEST(ConfigKeyTree, OtherKeysAreNowhere) {
    EXPECT_EQ(config_key_tree("tmp.a"), KeyTree::kUnknown);
    EXPECT_EQ(config_key_tree("cfg."), KeyTree::kUnknown);
    EXPECT_EQ(config_key_tree("cfgs.a"), KeyTree::kUnknown);
    EXPECT_EQ(config_key_tree(""), KeyTree::kUnknown);
}

TEST(ConfigElementCheck, RefusesAKeyOfNoTree) {
    EXPECT_EQ(CheckKey("tmp.a"), CONFIG_REFUSED);
}

TEST(ConfigElementCheck, TakesAKeyOf255BytesAndNoLongerOne) {
    EXPECT_EQ(CheckKey("ram." + std::string(251, 'k')), CONFIG_OK);
    EXPECT_EQ(CheckKey("ram." + std::string(252, 'k')), CONFIG_REFUSED);
}

TEST(ConfigElementCheck, RefusesBlanksAndUnprintableCharactersInAKey) {
    EXPECT_EQ(CheckKey("ram.a b"), CONFIG_REFUSED);
    EXPECT_EQ(CheckKey("ram.a\n"), CONFIG_REFUSED);
    EXPECT_EQ(CheckKey("ram.\xc3\xa4"), CONFIG_REFUSED);
    EXPECT_EQ(CheckKey("ram.~!"), CONFIG_OK);
}

TEST(ConfigElementCheck, AStringEndsInNulOrIsEmpty) {
    EXPECT_EQ(CheckValue(Text("a")), CONFIG_OK);
    EXPECT_EQ(CheckValue({CONFIG_TYPE_STRING, ""}), CONFIG_OK);
    EXPECT_EQ(CheckValue({CONFIG_TYPE_STRING, "abcd"}), CONFIG_MISMATCH);
}

TEST(ConfigElementCheck, AnIntegerHasFourBytes) {
    EXPECT_EQ(CheckValue(Number(-1)), CONFIG_OK);
    EXPECT_EQ(CheckValue({CONFIG_TYPE_INT, "abc"}), CONFIG_MISMATCH);
    EXPECT_EQ(CheckValue({CONFIG_TYPE_INT, ""}), CONFIG_MISMATCH);
}

TEST(ConfigElementCheck, TakesAValueOfOneMebibyteAndNoLargerOne) {
    EXPECT_EQ(CheckValue(Binary(std::string(1 << 20, 'x'))), CONFIG_OK);
    EXPECT_EQ(CheckValue(Binary(std::string((1 << 20) + 1, 'x'))), CONFIG_MISMATCH);
}

TEST(ConfigElementCheck, ATypeFitsOneByte) {
    EXPECT_EQ(CheckValue({255, "x"}), CONFIG_OK);
    EXPECT_EQ(CheckValue({256, "x"}), CONFIG_MISMATCH);
}
