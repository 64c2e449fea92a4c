// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <chrono>

#include "RawClient.h"
#include "tests/support/RunningDatabase.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Writes that other processes have a say in, over real sockets.
class Validators : public RunningDatabase {
  protected:
    // Returns when the database knows of it.
    void Register(RawClient& client, const std::string& name) {
        client.registerValidator(name);
        client.ask("config.stat.cfg.none", "");
        ASSERT_NE(client.awaitReply(), "");
    }

    RawClient m_writer;
};

}  // namespace

TEST_F(Validators, AWriteIsAppliedWhenEveryElementIsAccepted) {
    RawClient validator;
    Register(validator, "cfg.test.guarded");
    m_writer.ask("config.modifyv",
                 Vbuf({{"cfg.test.guarded.a", Number(1), 0}, {"cfg.test.free", Number(2), 0}}));
    ASSERT_EQ(validator.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    EXPECT_EQ(ReadInt("cfg.test.guarded.a"), -1);

    validator.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));

    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(0, 0));
    EXPECT_EQ(ReadInt("cfg.test.guarded.a"), 1);
    EXPECT_EQ(ReadInt("cfg.test.free"), 2);
}

TEST_F(Validators, ARefusedElementKeepsTheWholeWriteAway) {
    RawClient validator;
    Register(validator, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0},
                                         {"cfg.test.guarded.b", Number(1), 0},
                                         {"cfg.test.free", Number(2), 0}}));
    ASSERT_EQ(validator.awaitSignal(), "config.clnt_validate.cfg.test.guarded");

    validator.send("config.validate.rsp",
                   Vbuf({{"cfg.test.guarded.a", Number(1), 0}, {"cfg.test.guarded.b", Number(1), -22}}));

    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(0, -22, 0));
    EXPECT_EQ(ReadInt("cfg.test.free"), -1);
}

TEST_F(Validators, EverybodyElseIsServedWhileOneIsAsked) {
    RawClient silent;
    RawClient validator;
    RawClient other_writer;
    Register(silent, "cfg.test.silent");
    Register(validator, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.silent.a", Number(1), 0}}));
    ASSERT_EQ(silent.awaitSignal(), "config.clnt_validate.cfg.test.silent");

    EXPECT_EQ(Write("cfg.test.free", "x"), 0);
    EXPECT_EQ(Read("cfg.test.free"), "x");
    other_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    ASSERT_EQ(validator.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    validator.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    EXPECT_THAT(other_writer.awaitStatuses(), ElementsAre(0));

    silent.send("config.validate.rsp", Vbuf({{"cfg.test.silent.a", Number(1), 0}}));
    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(0));
}

// Takes the five seconds that a validator has, as does the next one.
TEST_F(Validators, ASilentOneCostsAWriteAndIsDropped) {
    RawClient silent;
    Register(silent, "cfg.test.guarded");
    const auto start = std::chrono::steady_clock::now();
    m_writer.ask("config.modifyv",
                 Vbuf({{"cfg.test.guarded.a", Number(1), 0}, {"cfg.test.free", Number(1), 0}}));
    ASSERT_EQ(silent.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    EXPECT_EQ(Write("cfg.test.other", "x"), 0);
    EXPECT_EQ(Read("cfg.test.other"), "x");

    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(-1, 0));

    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4900));
    EXPECT_THAT(m_database->output(),
                HasSubstr("validator 'cfg.test.guarded' does not answer and is dropped"));
    silent.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    EXPECT_EQ(ReadInt("cfg.test.guarded.a"), -1);
    EXPECT_EQ(ReadInt("cfg.test.free"), -1);
    EXPECT_EQ(Write("cfg.test.guarded.a", "later"), 0);
}

TEST_F(Validators, OneThatDiedGuardsNoMoreUntilItRegistersAgain) {
    RawClient validator;
    RawClient next_writer;
    Register(validator, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    ASSERT_EQ(validator.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    next_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.b", Number(2), 0}}));
    validator.disconnect();

    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(-1));
    EXPECT_THAT(next_writer.awaitStatuses(), ElementsAre(0));
    EXPECT_EQ(ReadInt("cfg.test.guarded.a"), -1);
    EXPECT_EQ(ReadInt("cfg.test.guarded.b"), 2);
    EXPECT_THAT(m_database->output(),
                HasSubstr("validator 'cfg.test.guarded' does not answer and is dropped"));

    RawClient reborn;
    Register(reborn, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    EXPECT_EQ(reborn.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    reborn.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), -5}}));
    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(-5));
}

TEST_F(Validators, OfTwoWithOneNameBothAreAskedAndTheFirstVerdictCounts) {
    RawClient one;
    RawClient other;
    Register(one, "cfg.test.guarded");
    Register(other, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    ASSERT_EQ(one.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    ASSERT_EQ(other.awaitSignal(), "config.clnt_validate.cfg.test.guarded");

    other.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), -22}}));
    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(-22));
    one.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    one.ask("config.stat.cfg.none", "");
    ASSERT_NE(one.awaitReply(), "");

    EXPECT_EQ(ReadInt("cfg.test.guarded.a"), -1);
}

TEST_F(Validators, OfTwoWithOneNameTheOtherDecidesAloneWhenOneDies) {
    RawClient one;
    RawClient other;
    Register(one, "cfg.test.guarded");
    Register(other, "cfg.test.guarded");
    one.disconnect();
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    ASSERT_EQ(other.awaitSignal(), "config.clnt_validate.cfg.test.guarded");

    other.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));

    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(0));
}
