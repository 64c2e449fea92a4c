#include <gmock/gmock.h>

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

// Takes the five seconds that a validator has.
TEST_F(Validators, OneThatDiedGuardsNoMoreUntilItRegistersAgain) {
    RawClient validator;
    Register(validator, "cfg.test.guarded");
    validator.disconnect();

    EXPECT_EQ(Write("cfg.test.guarded.a", "first"), -1);
    EXPECT_THAT(m_database->output(),
                HasSubstr("validator 'cfg.test.guarded' does not answer and is dropped"));
    EXPECT_EQ(Write("cfg.test.guarded.a", "second"), 0);

    RawClient reborn;
    Register(reborn, "cfg.test.guarded");
    m_writer.ask("config.modifyv", Vbuf({{"cfg.test.guarded.a", Number(1), 0}}));
    EXPECT_EQ(reborn.awaitSignal(), "config.clnt_validate.cfg.test.guarded");
    reborn.send("config.validate.rsp", Vbuf({{"cfg.test.guarded.a", Number(1), -5}}));
    EXPECT_THAT(m_writer.awaitStatuses(), ElementsAre(-5));
}
