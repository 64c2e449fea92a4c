// SPDX-License-Identifier: MIT

#include "tools/apictl/report.h"

#include "CommandFixture.h"

namespace {

class ReportTest : public CommandFixture {
  protected:
    static ApiResponse Response(const char* text) { return ApiResponse(JsonPtr(cJSON_Parse(text))); }
    ExitStatus Report(const char* text, ReportForm form = ReportForm::kData) {
        return report_response(Response(text), form, m_output);
    }
};

}  // namespace

TEST_F(ReportTest, ASuccessPrintsItsData) {
    EXPECT_EQ(Report(R"({"result": {"code": 200, "data": [1]}})"), ExitStatus::kDone);

    EXPECT_EQ(Printed(), "[1]\n");
    EXPECT_EQ(Complaints(), "");
}

TEST_F(ReportTest, DataOfNullIsPrinted) {
    EXPECT_EQ(Report(R"({"result": {"code": 200, "data": null}})"), ExitStatus::kDone);

    EXPECT_EQ(Printed(), "null\n");
}

TEST_F(ReportTest, AnErrorComplainsAndItsDataIsNotTakenForAResource) {
    EXPECT_EQ(Report(R"({"error": {"code": 400, "message": "Bad Request", "data": [1]}})"),
              ExitStatus::kRefused);

    EXPECT_EQ(Printed(), "");
    EXPECT_EQ(Complaints(), "apictl: 400 Bad Request: [1]\n");
}

TEST_F(ReportTest, AnErrorIsPrintedWholeAndComplainedAbout) {
    EXPECT_EQ(Report(R"({"error": {"code": 400}, "id": 1})", ReportForm::kWholeMessage),
              ExitStatus::kRefused);

    EXPECT_EQ(Printed(), "{\"error\":{\"code\":400},\"id\":1}\n");
    EXPECT_EQ(Complaints(), "apictl: 400\n");
}

TEST_F(ReportTest, AnErrorStaysOneWhenItCannotBePrinted) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const Output output("apictl", m_interruption, full.get(), m_err.get());

    EXPECT_EQ(report_response(Response(R"({"error": {"code": 400}})"), ReportForm::kWholeMessage, output),
              ExitStatus::kRefused);
}

TEST_F(ReportTest, ASuccessThatCannotBePrintedIsStatusThree) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const Output output("apictl", m_interruption, full.get(), m_err.get());

    EXPECT_EQ(report_response(Response(R"({"result": {"code": 200, "data": 1}})"), ReportForm::kData, output),
              ExitStatus::kUnreachable);
}

TEST_F(ReportTest, AFailedConnectionIsStatusThreeWithItsProblem) {
    ApiClient client(m_interruption);
    const ApiClient::Outcome outcome = client.connect("");

    EXPECT_EQ(report_connection(outcome, client, m_output), ExitStatus::kUnreachable);

    EXPECT_EQ(Complaints(), "apictl: '' cannot be the path of a socket\n");
}

TEST_F(ReportTest, AnInterruptionAndATimeLimitAreGoodEnds) {
    const ApiClient client(m_interruption);

    EXPECT_EQ(report_connection(ApiClient::Outcome::kInterrupted, client, m_output), ExitStatus::kDone);
    EXPECT_EQ(report_connection(ApiClient::Outcome::kTimeLimit, client, m_output), ExitStatus::kDone);

    EXPECT_EQ(Complaints(), "");
}

TEST_F(ReportTest, AnOutputThatNobodyReadsIsAGoodEnd) {
    EXPECT_EQ(report_written(Output::Result::kEnded), ExitStatus::kDone);
    EXPECT_EQ(report_written(Output::Result::kFailed), ExitStatus::kUnreachable);
}
