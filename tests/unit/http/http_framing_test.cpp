// SPDX-License-Identifier: MIT

#include "src/http/http_framing.h"

#include "HttpFixture.h"

namespace {

class HttpFraming : public HttpFixture {
  protected:
    // What the headers of the request say; the library answers for itself where it never hands a request over.
    bool IsClear(const std::string& method, const std::string& headers, const std::string& body = "") {
        bool clear = false;
        onRequest = [&clear](evhttp_request* req) {
            clear = http_framing_is_clear(req);
            evhttp_send_error(req, HTTP_NOTFOUND, nullptr);
        };
        connect().exchange(method + " / HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n" + body);
        return clear;
    }
};

}  // namespace

TEST_F(HttpFraming, IsClearWithoutABody) {
    EXPECT_TRUE(IsClear("GET", ""));
    EXPECT_TRUE(IsClear("HEAD", "Content-Length: 0\r\n"));
}

TEST_F(HttpFraming, IsClearWithALength) {
    EXPECT_TRUE(IsClear("PUT", "Content-Length: 2\r\n", "ab"));
    EXPECT_TRUE(IsClear("PUT", "content-length:  2 \r\n", "ab"));
}

TEST_F(HttpFraming, IsClearWithTheSameLengthTwice) {
    EXPECT_TRUE(IsClear("PUT", "Content-Length: 2\r\nContent-Length: 2\r\n", "ab"));
}

TEST_F(HttpFraming, IsClearInChunks) {
    EXPECT_TRUE(IsClear("PUT", "Transfer-Encoding: Chunked\r\n", "1\r\na\r\n0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithTwoLengths) {
    EXPECT_FALSE(IsClear("PUT", "Content-Length: 0\r\nContent-Length: 2\r\n", "ab"));
}

TEST_F(HttpFraming, IsInDoubtWithALengthThatIsNotOfDigits) {
    EXPECT_FALSE(IsClear("PUT", "Content-Length: +2\r\n", "ab"));
}

TEST_F(HttpFraming, IsInDoubtWithAnotherTransferCoding) {
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding: xchunked\r\n", "0\r\n\r\n"));
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding: gzip, chunked\r\n", "0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithChunksInAnotherSpelling) {
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding:\tchunked\r\n", "0\r\n\r\n"));
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding:\r\n chunked\r\n", "0\r\n\r\n"));
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding: chunked;x\r\n", "0\r\n\r\n"));
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding: chunked, chunked\r\n", "0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithTwoTransferCodings) {
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtInChunksWithALength) {
    EXPECT_FALSE(IsClear("PUT", "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithABlankInFrontOfAColon) {
    EXPECT_FALSE(IsClear("PUT", "Content-Length : 2\r\n", "ab"));
    EXPECT_FALSE(IsClear("PUT", "Transfer-Encoding\t: chunked\r\n", "0\r\n\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithAHeaderThatHasNoName) {
    EXPECT_FALSE(IsClear("GET", ": x\r\n"));
}

TEST_F(HttpFraming, IsInDoubtWithABodyBehindHead) {
    EXPECT_FALSE(IsClear("HEAD", "Content-Length: 2\r\n", "ab"));
}
