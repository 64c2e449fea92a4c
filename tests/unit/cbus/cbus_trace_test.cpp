// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <string>

#include "FakeBus.h"
#include "cbus/cbus.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class BusTrace : public FakeBus {
  protected:
    BusTrace() {
        setenv("CBUS_DEBUG", "", 1);
        Connect();
        m_socket = std::to_string(connection()->socket);
    }
    ~BusTrace() override {
        unsetenv("CBUS_DEBUG");
        Connect();  // the switch is read when a connection is made
    }

    std::string TraceOfTurn() {
        testing::internal::CaptureStdout();
        Turn();
        return testing::internal::GetCapturedStdout();
    }

    std::string m_socket;
};

}  // namespace

TEST_F(BusTrace, ShowsAMessageFromItsReadingToTheEndOfItsDispatch) {
    m_bus.Send(WireMessage{1, 7, 9, 0, "ab", "xyz"});

    EXPECT_THAT(TraceOfTurn(), MatchesRegex("_cbus_msg_read: type=1 src=7 seqn=9 nlen=3 dlen=3\n"
                                            "[0-9:]+\\.[0-9]+  0 _cbus_msg_read: name=\"ab\", data size=3\n"
                                            "00000000: 78 79 7a +xyz\n"
                                            "B\\(" +
                                            m_socket +
                                            "\\) _conn_rx: nr=20\n"
                                            "B\\(" +
                                            m_socket +
                                            "\\) _conn_msg_dispatch level=1\n"
                                            "E\\(" +
                                            m_socket +
                                            "\\) _conn_msg_dispatch level=1\n"
                                            "E\\(" +
                                            m_socket + "\\) _conn_rx: nr=0\n"));
}

TEST_F(BusTrace, ShowsThatTheBusIsLost) {
    m_bus.Hang();

    EXPECT_EQ(TraceOfTurn(), "B(" + m_socket + ") _conn_rx: nr=-1\nE(-1) _conn_rx: nr=-1\n");
}

TEST_F(BusTrace, ShowsTheWaitForAReply) {
    cbus_send_request(connection(), "ask", nullptr, 0);
    m_bus.Send(WireMessage{3, 0, 0, 0, "ask", "four"});
    void* data = nullptr;

    testing::internal::CaptureStdout();
    cbus_get_reply(connection(), 0, &data);
    const std::string trace = testing::internal::GetCapturedStdout();
    const MallocedText reply(static_cast<char*>(data));

    EXPECT_THAT(trace, HasSubstr("B(" + m_socket + ") cbus_get_reply: cookie=0\n"));
    EXPECT_THAT(trace, HasSubstr("E(" + m_socket + ") cbus_get_reply: nr=4\n"));
}

TEST_F(BusTrace, ShowsNoDumpWithoutData) {
    testing::internal::CaptureStdout();
    cbus_show_message(connection(), "here", "name", nullptr, 0);

    EXPECT_THAT(
        testing::internal::GetCapturedStdout(),
        MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9]+  0 here: name=\"name\", data size=0\n"));
}

TEST_F(BusTrace, IsOffWithoutTheEnvironmentVariable) {
    unsetenv("CBUS_DEBUG");
    Connect();
    m_bus.Send(WireMessage{1, 7, 9, 0, "ab", "xyz"});

    EXPECT_EQ(TraceOfTurn(), "");
}
