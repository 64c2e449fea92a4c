// SPDX-License-Identifier: MIT

// No spelling of a path reaches what its plain spelling keeps closed: thousands of them, made of prefixes, encodings,
// doubled slashes, dots, endings and insertions.

#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "EventServerFixture.h"
#include "src/http/AccessMap.h"

namespace {

using Texts = std::vector<std::string>;

constexpr const char* kLevels[] = {"main_res", "sub1", "sub2", "sub3", "sub4", "sub5", "sub6", "sub7"};

// Goes by the levels of a path like the controllers, up to the first that is missing.
class WalkingHandler : public HabHandler {
  public:
    int handleRequest(HabRequest* request) override {
        std::string plain = "/system";
        for (const char* level : kLevels) {
            const char* segment = request->getParameter(level);
            if (segment == nullptr) {
                break;
            }
            plain += std::string("/") + segment;
        }
        reached.insert(plain);
        request->replyFinish(200, "OK");
        return 1;
    }

    std::set<std::string> reached;  // the plain spellings
};

std::string encoded(char c, const char* format = "%%%02X") {
    char text[8];
    std::snprintf(text, sizeof text, format, static_cast<unsigned char>(c));
    return text;
}

std::string all_encoded(const std::string& path) {
    std::string text = "/";
    for (const char c : path.substr(1)) {
        text += encoded(c, "%%%02x");
    }
    return text;
}

std::string with_slashes(const std::string& path, const std::string& slash) {
    std::string text;
    for (const char c : path) {
        text += c == '/' ? slash : std::string(1, c);
    }
    return text;
}

const Texts kPrefixes{"", "/", "/x", "/system", "/x/..", "/%2e%2e", "http://h"};
const Texts kEndings{"",   "/",   "//",  "/.",  "/..",  "/_", "_",   "?",    "?main_res=open",
                     "#x", "%23", "%2F", "%00", "/%00", ";x", "//x", "/x/.."};
const Texts kSlashes{"/", "//", "///", "/./", "/../", "%2F", "/%2f", "%252F", "\\", "/;/"};
const Texts kInserted{"/", "//", "/.", ".", "_", ";", "%00", "%0a", "%20", "%ff", "?", "%3F", "%23", "%"};

// The path as a whole in other words: between every prefix and every ending, encoded, with other slashes.
void add_whole(const std::string& path, Texts& spellings) {
    Texts bodies{all_encoded(path)};
    for (const std::string& slash : kSlashes) {
        bodies.push_back(with_slashes(path, slash));
    }
    for (const std::string& body : bodies) {
        for (const std::string& prefix : kPrefixes) {
            for (const std::string& ending : kEndings) {
                spellings.push_back(prefix + body + ending);
            }
        }
    }
}

// Each character of it encoded, and encoded twice, and something in front of it.
void add_by_character(const std::string& path, Texts& spellings) {
    for (std::size_t at = 1; at < path.size(); ++at) {
        Texts replaced{encoded(path[at]), "%25" + encoded(path[at]).substr(1)};
        for (const std::string& inserted : kInserted) {
            replaced.push_back(inserted + path[at]);
        }
        for (const std::string& text : replaced) {
            for (const char* ending : {"", "/", "//x"}) {
                spellings.push_back(path.substr(0, at) + text + path.substr(at + 1) + ending);
            }
        }
    }
}

Texts spellings() {
    Texts all;
    for (const char* path : {"/system/exact", "/system/a/exact", "/system/closed/b", "/system/open"}) {
        add_whole(path, all);
        add_by_character(path, all);
    }
    return all;
}

class AccessSpelling : public EventServerFixture {
  protected:
    AccessSpelling() {
        HabDispatcher::registerUri("/system/#main_res/#sub1/#sub2/#sub3/#sub4/#sub5/#sub6/#sub7", 15,
                                   &m_handler);
    }

    // What the last request has reached, if anything, is what anybody may reach.
    testing::AssertionResult ReachedOnlyOpenOnes(const std::string& spelling) {
        const std::set<std::string> reached = std::exchange(m_handler.reached, {});
        for (const std::string& plain : reached) {
            if (AccessMap::getInstance()->getAccessLevel(plain.c_str(), "GET") > 0) {
                return testing::AssertionFailure() << spelling << " reached " << plain;
            }
        }
        m_reachedOpen = m_reachedOpen || reached.contains("/system/open");
        return testing::AssertionSuccess();
    }

    WalkingHandler m_handler;
    bool m_reachedOpen = false;
};

}  // namespace

// JSON-RPC does not decode paths.
TEST_F(AccessSpelling, OpensNothingToJsonRpc) {
    std::string cookie;
    for (const std::string& spelling : spellings()) {
        LocalRequest request("GET", spelling.c_str());
        request.cookie = cookie;

        HabDispatcher::dispatchRequest(&request);

        cookie = request.cookie;
        EXPECT_TRUE(ReachedOnlyOpenOnes(spelling));
    }

    EXPECT_TRUE(m_reachedOpen);
}

TEST_F(AccessSpelling, OpensNothingToHttp) {
    Serve([this] {
        std::optional<RawHttpClient> client;
        for (const std::string& spelling : spellings()) {
            if (!client) {
                client.emplace(m_server.connect());
            }

            const std::string answer = client->exchange("GET " + spelling + " HTTP/1.1\r\nHost: h\r\n\r\n");

            EXPECT_NE(answer, "") << spelling;
            EXPECT_TRUE(ReachedOnlyOpenOnes(spelling));
            // The library ends the connection of a request that names the host itself, as meant for a proxy.
            if (answer.find("Connection: close") != std::string::npos || spelling.starts_with("http:")) {
                client.reset();
            }
        }
    });

    EXPECT_TRUE(m_reachedOpen);
}
