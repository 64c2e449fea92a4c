// SPDX-License-Identifier: MIT

#include "device/configd/GuardedWrites.h"

#include <gtest/gtest.h>

#include "Values.h"

namespace {

struct Question {
    std::string validator;
    std::vector<std::string> keys;

    bool operator==(const Question&) const = default;
};

std::vector<std::string> KeysOf(const Elements& elements) {
    std::vector<std::string> keys;
    for (const ConfigElement& element : elements) {
        keys.push_back(element.key);
    }
    return keys;
}

// Times begin shortly before the clock wraps.
constexpr uint32_t kNow = 0xffffff00;

class Guarded : public testing::Test, private GuardedWrites::Owner {
  protected:
    void Register(const std::string& name) { ASSERT_TRUE(m_guarded.register_validator(name, 0)); }
    void Add(const std::vector<std::string>& keys, uint32_t now_ms = kNow) {
        PendingWrite write;
        for (const std::string& key : keys) {
            write.elements.push_back({key, Number(1), 0});
        }
        m_guarded.add(std::move(write), now_ms);
    }
    void AddLarge(const std::string& key, size_t bytes) {
        PendingWrite write;
        write.elements.push_back({key, Binary(std::string(bytes, 'x')), 0});
        m_guarded.add(std::move(write), kNow);
    }
    void Verdict(const std::vector<std::string>& keys, int32_t status, int32_t value = 1) {
        Elements elements;
        for (const std::string& key : keys) {
            elements.push_back({key, Number(value), status});
        }
        m_guarded.handle_verdict(elements, kNow);
    }
    bool Guards(const std::string& key) { return m_guarded.guards({{key, Number(1), 0}}); }

    void ask_validator(const std::string& name, const Elements& elements) override {
        m_questions.push_back({name, KeysOf(elements)});
    }
    void after_verdict(PendingWrite write, uint32_t) override {
        m_finished.push_back(std::move(write.elements));
    }

    GuardedWrites m_guarded{*this};
    std::vector<Question> m_questions;
    std::vector<Elements> m_finished;
};

}  // namespace

TEST_F(Guarded, KeysThatBeginWithAValidatorsNameAreGuarded) {
    Register("cfg.net");

    EXPECT_TRUE(Guards("cfg.net.ip"));
    EXPECT_TRUE(Guards("cfg.network"));
    EXPECT_FALSE(Guards("cfg.ne"));
}

TEST_F(Guarded, TheValidatorSeesTheElementsThatItGuards) {
    Register("cfg.net");

    Add({"cfg.net.ip", "cfg.other", "cfg.net.mask"});

    EXPECT_EQ(m_questions, (std::vector<Question>{{"cfg.net", {"cfg.net.ip", "cfg.net.mask"}}}));
    EXPECT_TRUE(m_finished.empty());
}

TEST_F(Guarded, TheWriteGoesOnWhenAllIsAccepted) {
    Register("cfg.net");
    Add({"cfg.net.ip", "cfg.other"});

    Verdict({"cfg.net.ip"}, 0);

    ASSERT_EQ(m_finished.size(), 1U);
    EXPECT_TRUE(all_accepted(m_finished[0]));
}

TEST_F(Guarded, ARefusalStandsInTheStatusOfItsElement) {
    Register("cfg.net");
    Add({"cfg.other", "cfg.net.ip"});

    Verdict({"cfg.net.ip"}, -9);

    EXPECT_EQ(m_finished,
              (std::vector<Elements>{{{"cfg.other", Number(1), 0}, {"cfg.net.ip", Number(1), -9}}}));
}

TEST_F(Guarded, SeveralValidatorsAreAskedOneAfterTheOther) {
    Register("cfg.net");
    Register("cfg.net.ip");
    Add({"cfg.net.ip"});

    Verdict({"cfg.net.ip"}, 0);

    EXPECT_EQ(m_questions,
              (std::vector<Question>{{"cfg.net.ip", {"cfg.net.ip"}}, {"cfg.net", {"cfg.net.ip"}}}));
    Verdict({"cfg.net.ip"}, 0);
    EXPECT_EQ(m_finished.size(), 1U);
}

TEST_F(Guarded, AfterARefusalNobodyElseIsAsked) {
    Register("cfg.net");
    Register("cfg.net.ip");
    Add({"cfg.net.ip"});

    Verdict({"cfg.net.ip"}, -9);

    EXPECT_EQ(m_questions.size(), 1U);
    EXPECT_EQ(m_finished.size(), 1U);
}

TEST_F(Guarded, WritesWaitInTheirOrder) {
    Register("cfg.net");
    Add({"cfg.net.first"});
    Add({"cfg.net.second"});
    ASSERT_EQ(m_questions.size(), 1U);

    Verdict({"cfg.net.first"}, -9);

    EXPECT_EQ(m_questions.back(), (Question{"cfg.net", {"cfg.net.second"}}));
    EXPECT_EQ(m_finished.size(), 1U);
}

TEST_F(Guarded, WritesWithoutACommonValidatorDoNotWaitForEachOther) {
    Register("cfg.net");
    Register("cfg.time");
    Add({"cfg.net.ip"});
    Add({"cfg.time.zone"});
    Add({"cfg.net.ip", "cfg.time.zone"});
    ASSERT_EQ(m_questions.size(), 2U);

    Verdict({"cfg.time.zone"}, 0);
    EXPECT_EQ(m_finished, (std::vector<Elements>{{{"cfg.time.zone", Number(1), 0}}}));
    Verdict({"cfg.net.ip"}, 0);

    EXPECT_EQ(m_finished.size(), 2U);
    EXPECT_EQ(m_questions.back(), (Question{"cfg.time", {"cfg.time.zone"}}));
}

TEST_F(Guarded, AVerdictOfOneOfTwoValidatorsOfAKeyIsNotTakenForTheOthers) {
    Register("cfg.net");
    Register("cfg.net.ip");
    Add({"cfg.net.ip"});
    Add({"cfg.net.ip"});

    Verdict({"cfg.net.ip"}, 0);
    Verdict({"cfg.net.ip"}, -9);

    EXPECT_EQ(m_finished, (std::vector<Elements>{{{"cfg.net.ip", Number(1), -9}}}));
    EXPECT_EQ(m_questions.back(), (Question{"cfg.net.ip", {"cfg.net.ip"}}));
}

TEST_F(Guarded, AVerdictOnOtherKeysIsPassedOver) {
    Register("cfg.net");
    Add({"cfg.net.ip", "cfg.net.mask"});

    Verdict({"cfg.net.ip"}, 0);
    Verdict({"cfg.net.mask", "cfg.net.ip"}, 0);
    Verdict({}, 0);

    EXPECT_TRUE(m_finished.empty());
}

// It belongs to a write of that key that has been refused meanwhile.
TEST_F(Guarded, AVerdictOnAnotherValueIsPassedOver) {
    Register("cfg.net");
    Add({"cfg.net.ip"});

    Verdict({"cfg.net.ip"}, 0, 2);
    EXPECT_TRUE(m_finished.empty());

    Verdict({"cfg.net.ip"}, 0);
    EXPECT_EQ(m_finished.size(), 1U);
}

TEST_F(Guarded, AValidatorThatRegistersWhileItIsAskedIsAskedAgain) {
    Register("cfg.net");
    Add({"cfg.net.ip"});

    ASSERT_TRUE(m_guarded.register_validator("cfg.net", kNow + 4000));
    m_guarded.expire(kNow + 6000);

    EXPECT_EQ(m_questions.size(), 2U);
    EXPECT_TRUE(m_finished.empty());
    Verdict({"cfg.net.ip"}, 0);
    EXPECT_EQ(m_finished.size(), 1U);
}

TEST_F(Guarded, AVerdictThatNobodyWaitsForIsPassedOver) {
    Verdict({"cfg.net.ip"}, 0);

    EXPECT_TRUE(m_finished.empty());
}

TEST_F(Guarded, SilenceForFiveSecondsRefusesTheWrite) {
    Register("cfg.net");
    Add({"cfg.net.ip", "cfg.other"});

    m_guarded.expire(kNow + 4999);
    EXPECT_TRUE(m_finished.empty());
    m_guarded.expire(kNow + 5000);

    EXPECT_EQ(m_finished,
              (std::vector<Elements>{{{"cfg.net.ip", Number(1), -1}, {"cfg.other", Number(1), 0}}}));
}

TEST_F(Guarded, AValidatorThatIsSilentIsDropped) {
    Register("cfg.net");
    Add({"cfg.net.first"});
    Add({"cfg.net.second"});

    m_guarded.expire(kNow + 5000);

    EXPECT_FALSE(Guards("cfg.net.first"));
    ASSERT_EQ(m_finished.size(), 2U);
    EXPECT_TRUE(all_accepted(m_finished[1]));
}

TEST_F(Guarded, TheTimeOfOneValidatorDoesNotRunOutForAnother) {
    Register("cfg.net");
    Register("cfg.time");
    Add({"cfg.net.ip"}, kNow);
    Add({"cfg.time.zone"}, kNow + 2000);

    m_guarded.expire(kNow + 5000);

    EXPECT_FALSE(Guards("cfg.net.ip"));
    EXPECT_TRUE(Guards("cfg.time.zone"));
    EXPECT_EQ(m_guarded.time_left_ms(kNow + 5000), 2000U);
}

TEST_F(Guarded, ItGuardsAgainWhenItRegistersAgain) {
    Register("cfg.net");
    Add({"cfg.net.ip"});
    m_guarded.expire(kNow + 5000);

    Register("cfg.net");

    EXPECT_TRUE(Guards("cfg.net.ip"));
}

TEST_F(Guarded, TellsHowLongTheValidatorHasLeft) {
    EXPECT_EQ(m_guarded.time_left_ms(kNow), std::nullopt);
    Register("cfg.net");
    Add({"cfg.net.ip"});

    EXPECT_EQ(m_guarded.time_left_ms(kNow + 1000), 4000U);
    EXPECT_EQ(m_guarded.time_left_ms(kNow + 6000), 0U);
}

TEST_F(Guarded, RefusesWritesBeyondItsLimit) {
    Register("cfg.net");
    for (size_t i = 0; i < GuardedWrites::kMaxWaiting; ++i) {
        Add({"cfg.net.ip"});
    }
    ASSERT_TRUE(m_finished.empty());

    Add({"cfg.net.ip"});

    EXPECT_EQ(m_finished, (std::vector<Elements>{{{"cfg.net.ip", Number(1), -1}}}));
}

TEST_F(Guarded, RefusesWritesBeyondItsLimitOfBytesUntilOthersAreDone) {
    Register("cfg.net");
    AddLarge("cfg.net.first", GuardedWrites::kMaxWaitingBytes / 2);
    AddLarge("cfg.net.second", GuardedWrites::kMaxWaitingBytes / 2);
    ASSERT_EQ(m_finished.size(), 1U);
    EXPECT_EQ(m_finished[0][0].status, -1);
    m_guarded.handle_verdict(
        {{"cfg.net.first", Binary(std::string(GuardedWrites::kMaxWaitingBytes / 2, 'x')), 0}}, kNow);

    AddLarge("cfg.net.third", GuardedWrites::kMaxWaitingBytes / 2);

    EXPECT_EQ(m_questions.back(), (Question{"cfg.net", {"cfg.net.third"}}));
}

TEST_F(Guarded, RefusesValidatorsBeyondItsLimit) {
    for (size_t i = 0; i < GuardedWrites::kMaxValidators; ++i) {
        Register("cfg." + std::to_string(i));
    }

    EXPECT_FALSE(m_guarded.register_validator("cfg.one_more", 0));
    EXPECT_TRUE(m_guarded.register_validator("cfg.0", 0));
}
