// SPDX-License-Identifier: MIT

#include "device/configd/ConfigDatabase.h"

#include <gtest/gtest.h>

#include "Values.h"
#include "tests/support/TempDirectory.h"

namespace {

class Database : public testing::Test {
  protected:
    // Starts the database anew on the same file.
    void Start(const ConfigValues& factory = {}) {
        m_database.reset();
        m_database = ConfigDatabase::load(factory, ConfigStore::open(m_directory.file("store.db")));
        ASSERT_NE(m_database, nullptr);
    }
    void StartWithRuntimeStore(const ConfigValues& factory = {}) {
        m_database.reset();
        m_database = ConfigDatabase::load(
            factory, ConfigStore::open(m_directory.file("store.db")),
            ConfigStore::open(m_directory.file("runtime.db"), ConfigStore::Medium::kMemory));
        ASSERT_NE(m_database, nullptr);
    }
    Elements Write(const Elements& elements) {
        const auto changes = m_database->write({elements});
        EXPECT_TRUE(changes.has_value());
        return changes ? changes->front() : Elements{};
    }
    std::vector<std::string> Keys(const std::string& pattern) {
        std::vector<std::string> keys;
        for (const auto* entry : m_database->match(*KeyPattern::parse(pattern))) {
            keys.push_back(entry->first);
        }
        return keys;
    }
    // Deleted() when there is no value.
    ConfigValue Value(const std::string& key) {
        const ConfigValue* value = m_database->find(key);
        return value != nullptr ? *value : Deleted();
    }

    TempDirectory m_directory;
    std::unique_ptr<ConfigDatabase> m_database;
};

}  // namespace

TEST_F(Database, FindsWhatWasWritten) {
    Start();

    Write({{"ram.a", Text("x"), 0}});

    EXPECT_EQ(Value("ram.a"), Text("x"));
}

TEST_F(Database, HasNoValueForOtherKeys) {
    Start();

    EXPECT_EQ(m_database->find("ram.a"), nullptr);
}

TEST_F(Database, AnswersAWriteWithTheChangedElementsInTheOrderOfTheirKeys) {
    Start();
    Write({{"ram.b", Text("same"), 0}});

    const Elements changes =
        Write({{"ram.c", Number(1), 0}, {"ram.b", Text("same"), 0}, {"ram.a", Text("new"), 0}});

    EXPECT_EQ(changes, (Elements{{"ram.a", Text("new"), 0}, {"ram.c", Number(1), 0}}));
}

TEST_F(Database, AnotherTypeIsAChange) {
    Start();
    Write({{"ram.a", Binary("1234"), 0}});

    EXPECT_EQ(Write({{"ram.a", {CONFIG_TYPE_INT, "1234"}, 0}}).size(), 1U);
}

TEST_F(Database, OfSeveralElementsWithOneKeyTheLastCounts) {
    Start();

    const Elements changes = Write({{"ram.a", Text("first"), 0}, {"ram.a", Text("last"), 0}});

    EXPECT_EQ(changes, (Elements{{"ram.a", Text("last"), 0}}));
}

TEST_F(Database, DeletingAKeyIsAChangeWithoutData) {
    Start();
    Write({{"ram.a", Text("x"), 0}});

    EXPECT_EQ(Write({{"ram.a", {CONFIG_TYPE_NONE, "ignored"}, 0}}), (Elements{{"ram.a", Deleted(), 0}}));
    EXPECT_EQ(m_database->find("ram.a"), nullptr);
}

TEST_F(Database, DeletingWhatIsNotThereIsNoChange) {
    Start();

    EXPECT_EQ(Write({{"ram.a", Deleted(), 0}}), Elements{});
}

TEST_F(Database, WritesOfOneTransactionFollowEachOther) {
    Start();
    const Elements first{{"cfg.a", Number(1), 0}};
    const Elements second{{"cfg.a", Deleted(), 0}, {"cfg.b", Number(2), 0}};
    const Elements third{{"cfg.b", Number(2), 0}};

    const auto changes = m_database->write({first, second, third});

    EXPECT_EQ(changes, (std::vector<Elements>{first, second, {}}));
    Start();
    EXPECT_EQ(Keys("cfg.*"), std::vector<std::string>{"cfg.b"});
}

TEST_F(Database, OfSeveralWritesThatTheStoreRefusesNoneIsDone) {
    Start({{"cfg.a", Text("factory")}});
    const Elements first{{"cfg.a", Number(1), 0}, {"ram.a", Number(1), 0}};
    const Elements second{{"cfg.a", Deleted(), 0}};
    const FullDisk full_disk;

    EXPECT_FALSE(m_database->write({first, second}).has_value());

    EXPECT_EQ(Value("cfg.a"), Text("factory"));
    EXPECT_EQ(Value("ram.a"), Deleted());
}

TEST_F(Database, MatchesAPatternInTheOrderOfTheKeys) {
    Start();
    Write({{"ram.b.1", Number(1), 0},
           {"ram.a.1", Number(1), 0},
           {"ram.a.2", Number(1), 0},
           {"ram.aa", Number(1), 0}});

    EXPECT_EQ(Keys("ram.a.*"), (std::vector<std::string>{"ram.a.1", "ram.a.2"}));
    EXPECT_EQ(Keys("*.(a|b).1"), (std::vector<std::string>{"ram.a.1", "ram.b.1"}));
}

// Every pattern finds by leaping what it finds by trying every key.
TEST_F(Database, LeapsOverNoKeyThatMatches) {
    Start();
    Elements elements;
    for (const char* tree : {"cfg", "ram"}) {
        for (const char* middle :
             {"-", "-.a", "a", "a.b", "a!", "a.a.a", "ab", "ab.~", "b", "b.a", "~", "~~.z"}) {
            for (const char* end : {"", ".a", ".ab", ".b", "/"}) {
                elements.push_back({tree + std::string(".") + middle + end, Number(1), 0});
            }
        }
    }
    Write(elements);
    for (const char* text :
         {"*.*", "*.a", "*.*.a", "(ram|cfg).a", "(cfg|ram).(b|a).*", "ram.(ab|a|)", "cfg.*a", "cfg.a*",
          "cfg.[a,ab].[b,a]", "*.(a.b|*).a", "cfg.~*.*", "(*|ram.a).b", "ram.*.*.*", "ram.a", "zz.*"}) {
        std::vector<std::string> matching;
        for (const auto* entry : m_database->match(*KeyPattern::parse("*.(*|*.*|*.*.*|*.*.*.*)"))) {
            if (KeyPattern::parse(text)->matches(entry->first)) {
                matching.push_back(entry->first);
            }
        }

        EXPECT_EQ(Keys(text), matching) << text;
    }
}

TEST_F(Database, PersistentTreesOutliveARestart) {
    Start();
    Write({{"cfg.a", Text("x"), 0}, {"txt.a", Number(1), 0}});

    Start();

    EXPECT_EQ(Value("cfg.a"), Text("x"));
    EXPECT_EQ(Value("txt.a"), Number(1));
}

TEST_F(Database, VolatileTreesDoNot) {
    Start();
    Write({{"ram.a", Text("x"), 0}, {"dyn.a", Number(1), 0}});

    Start();

    EXPECT_EQ(Keys("*.*"), std::vector<std::string>{});
}

TEST_F(Database, VolatileTreesOutliveARestartInAStoreOfTheirOwn) {
    StartWithRuntimeStore({{"ram.gone", Text("factory")}});
    Write({{"ram.a", Text("x"), 0}, {"cfg.a", Number(1), 0}});
    Write({{"ram.gone", Deleted(), 0}});

    StartWithRuntimeStore({{"ram.gone", Text("factory")}});

    EXPECT_EQ(Keys("*.*"), (std::vector<std::string>{"cfg.a", "ram.a"}));
}

TEST_F(Database, EachStoreHoldsItsTreesAlone) {
    StartWithRuntimeStore();
    Write({{"ram.a", Text("x"), 0}, {"cfg.a", Number(1), 0}});

    Start();

    EXPECT_EQ(Keys("*.*"), (std::vector<std::string>{"cfg.a"}));
}

TEST_F(Database, ResetPutsTheFactoryValuesIntoTheStoreOfTheVolatileTrees) {
    const ConfigValues factory{{"ram.a", Text("factory")}, {"ram.b", Text("factory")}};
    StartWithRuntimeStore(factory);
    Write({{"ram.a", Text("own"), 0}, {"ram.b", Deleted(), 0}, {"ram.c", Text("own"), 0}});

    ASSERT_TRUE(m_database->reset_to_factory().has_value());
    StartWithRuntimeStore(factory);

    EXPECT_EQ(Value("ram.a"), Text("factory"));
    EXPECT_EQ(Value("ram.b"), Text("factory"));
    EXPECT_EQ(Value("ram.c"), Text("own"));
}

TEST_F(Database, WhatThePersistentStoreRefusesIsNotInTheOtherOneEither) {
    StartWithRuntimeStore();
    Write({{"ram.a", Text("before"), 0}});
    {
        // Room for the volatile half alone.
        const FullDisk full_disk(200'000);
        const Elements elements{{"ram.a", Text("after"), 0},
                                {"ram.b", Text("after"), 0},
                                {"cfg.a", Binary(std::string(500'000, 'x')), 0}};
        EXPECT_FALSE(m_database->write({elements}).has_value());
    }

    StartWithRuntimeStore();

    EXPECT_EQ(Value("ram.a"), Text("before"));
    EXPECT_EQ(Keys("*.*"), (std::vector<std::string>{"ram.a"}));
}

TEST_F(Database, AnOwnValueCountsMoreThanTheFactoryValue) {
    Start({{"cfg.a", Text("factory")}, {"cfg.b", Text("factory")}});
    Write({{"cfg.a", Text("own"), 0}});

    Start({{"cfg.a", Text("newer factory")}, {"cfg.b", Text("newer factory")}});

    EXPECT_EQ(Value("cfg.a"), Text("own"));
    EXPECT_EQ(Value("cfg.b"), Text("newer factory"));
}

TEST_F(Database, VolatileFactoryValuesAreBackAfterARestart) {
    Start({{"ram.a", Text("factory")}});
    Write({{"ram.a", Text("own"), 0}});

    Start({{"ram.a", Text("factory")}});

    EXPECT_EQ(Value("ram.a"), Text("factory"));
}

TEST_F(Database, ADeletedKeyStaysDeletedAfterARestart) {
    Start({{"cfg.factory", Text("x")}});
    Write({{"cfg.own", Text("x"), 0}});
    Write({{"cfg.own", Deleted(), 0}, {"cfg.factory", Deleted(), 0}});

    Start({{"cfg.factory", Text("x")}});

    EXPECT_EQ(Keys("cfg.*"), std::vector<std::string>{});
}

TEST_F(Database, ResetMakesPersistentTreesAsTheyCameFromTheFactory) {
    const ConfigValues factory{{"cfg.a", Text("factory")}, {"cfg.b", Text("factory")}};
    Start(factory);
    Write({{"cfg.a", Text("own"), 0}, {"cfg.b", Deleted(), 0}, {"cfg.c", Text("own"), 0}});

    const auto changes = m_database->reset_to_factory();

    EXPECT_EQ(
        changes,
        (Elements{{"cfg.a", Text("factory"), 0}, {"cfg.b", Text("factory"), 0}, {"cfg.c", Deleted(), 0}}));
    Start(factory);
    EXPECT_EQ(Keys("*.*"), (std::vector<std::string>{"cfg.a", "cfg.b"}));
}

TEST_F(Database, ResetTouchesVolatileKeysOnlyWhereTheFactoryNamesThem) {
    Start({{"ram.a", Text("factory")}});
    Write({{"ram.a", Text("own"), 0}, {"ram.b", Text("own"), 0}});

    const auto changes = m_database->reset_to_factory();

    EXPECT_EQ(changes, (Elements{{"ram.a", Text("factory"), 0}}));
    EXPECT_EQ(Value("ram.b"), Text("own"));
}

TEST_F(Database, InformationTellsTypePersistenceAndFactoryValue) {
    Start({{"cfg.a", Text("factory")}, {"ram.a", Number(1)}});
    Write({{"cfg.b", Number(1), 0}});

    EXPECT_EQ(m_database->information("cfg.a"), 0x302U);
    EXPECT_EQ(m_database->information("cfg.b"), 0x103U);
    EXPECT_EQ(m_database->information("ram.a"), 0x203U);
    EXPECT_EQ(m_database->information("cfg.none"), 0x100U);
    EXPECT_EQ(m_database->information("tmp.none"), 0U);
}

TEST_F(Database, AWriteThatTheStoreRefusesChangesNothing) {
    Start();
    const FullDisk full_disk;

    const Elements elements{{"cfg.a", Text("x"), 0}, {"ram.a", Text("x"), 0}};
    EXPECT_FALSE(m_database->write({elements}).has_value());

    EXPECT_EQ(Keys("*.*"), std::vector<std::string>{});
}

TEST_F(Database, AResetThatTheStoreRefusesChangesNothing) {
    Start();
    Write({{"cfg.a", Text("own"), 0}});
    const FullDisk full_disk;

    EXPECT_FALSE(m_database->reset_to_factory().has_value());

    EXPECT_EQ(Value("cfg.a"), Text("own"));
}
