/* What becomes of requests when time passes, with a clock of the test's own. */
#include <gtest/gtest.h>

#include <string>

#include "console/server/broker_link.hpp"
#include "console/server/console.hpp"
#include "console/server/passwords.hpp"

namespace console {
namespace {

class MemoryStore : public StateStore {
 public:
  [[nodiscard]] State read() const override { return state; }
  bool write(const State& next) override {
    state = is_full ? state : next;
    return !is_full;
  }
  State state;
  bool is_full = false;
};

constexpr const char* password = "seven wet otters sing";

class Handler : public testing::Test {
 protected:
  Handler() : console_({{}, 443, true}, store_) {
    static const std::string hash = hash_password(password);
    store_.state.password = hash;
  }

  Response send(const std::string& method, const std::string& path, const std::string& body = "",
                const std::string& address = "192.168.1.10") {
    Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.address = address;
    request.local_address = "192.168.1.1";
    request.now = now_;
    request.headers = {{"host", "192.168.1.1"},
                       {"content-type", "application/json"},
                       {"sec-fetch-site", "same-origin"},
                       {"cookie", "__Host-l3=" + session_},
                       {"x-l3-token", csrf_}};
    return console_.handle(request);
  }

  Response log_in(const std::string& word = password, const std::string& address = "192.168.1.10") {
    Response response = send("POST", "/api/v1/session", "{\"password\":\"" + word + "\"}", address);
    if (response.status == 201) {
      const std::string mark = "\"csrf_token\":\"";
      csrf_ = response.body.substr(response.body.find(mark) + mark.size(), 64);
      for (const auto& [name, value] : response.headers) {
        if (name == "Set-Cookie") {
          session_ = value.substr(value.find('=') + 1, 64);
        }
      }
    }
    return response;
  }

  int session_status() { return send("GET", "/api/v1/session").status; }

  MemoryStore store_;
  Console console_;
  std::int64_t now_ = 1000;
  std::string session_;
  std::string csrf_;
};

TEST_F(Handler, ASessionEndsFifteenMinutesAfterItsLastRequest) {
  ASSERT_EQ(log_in().status, 201);
  for (int i = 0; i < 3; ++i) {
    now_ += 15 * 60 - 1;
    EXPECT_EQ(session_status(), 200);
  }
  now_ += 15 * 60;
  EXPECT_EQ(session_status(), 401);
}

TEST_F(Handler, ASessionEndsAfterTwelveHours) {
  ASSERT_EQ(log_in().status, 201);
  for (int minute = 0; minute < 12 * 60; minute += 10) {
    EXPECT_EQ(session_status(), 200);
    now_ += 600;
  }
  EXPECT_EQ(session_status(), 401);
}

TEST_F(Handler, AnEventStreamIsNoActivity) {
  ASSERT_EQ(log_in().status, 201);
  now_ += 800;
  EXPECT_EQ(send("GET", "/api/v1/events").status, 200);
  EXPECT_TRUE(console_.is_live({0, session_, ""}, now_));
  now_ += 200;
  EXPECT_FALSE(console_.is_live({0, session_, ""}, now_));
  EXPECT_EQ(session_status(), 401);
}

TEST_F(Handler, TheDelayOfAnAddressDoublesUpToFiveMinutes) {
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(log_in("wrong").status, 403);
  }
  for (const int wait : {1, 2, 4, 8, 16, 32, 64, 128, 256, 300, 300}) {
    now_ += wait - 1;
    EXPECT_EQ(log_in().status, 429) << wait;
    now_ += 1;
    EXPECT_EQ(log_in("wrong").status, 403) << wait;
  }
  now_ += 300;
  EXPECT_EQ(log_in().status, 201);
}

TEST_F(Handler, StrangersTogetherHaveTwentyTriesAMinuteButNotAtTheCostOfAKnownAddress) {
  ASSERT_EQ(log_in().status, 201);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(log_in("wrong", "10.0.0." + std::to_string(i)).status, 403);
  }
  EXPECT_EQ(log_in("wrong", "10.0.1.1").status, 429);
  EXPECT_EQ(session_status(), 200);
  EXPECT_EQ(log_in().status, 201);
  now_ += 60;
  EXPECT_EQ(log_in("wrong", "10.0.1.1").status, 403);
}

TEST_F(Handler, WhatIsKeptForAddressesIsBounded) {
  Attempts attempts;
  attempts.note_success("known", 0);
  for (int i = 0; i < 100000; ++i) {
    attempts.note_failure("10." + std::to_string(i), i);
  }
  for (int i = 0; i < 10; ++i) {
    attempts.note_failure("known", 100000);
  }
  EXPECT_GT(attempts.seconds_to_wait("known", 100000), 0);
  EXPECT_EQ(attempts.seconds_to_wait("known", 100000 + 300), 0);
}

TEST_F(Handler, TheSeventeenthSessionEndsTheOneThatWasUnusedLongest) {
  ASSERT_EQ(log_in().status, 201);
  const std::string first = session_;
  session_.clear();
  for (int i = 0; i < 15; ++i) {
    now_ += 1;
    ASSERT_EQ(log_in("seven wet otters sing", "10.0.0." + std::to_string(i)).status, 201);
    session_.clear();
  }
  EXPECT_TRUE(console_.is_live({0, first, ""}, now_));
  ASSERT_EQ(log_in("seven wet otters sing", "10.0.0.99").status, 201);
  EXPECT_FALSE(console_.is_live({0, first, ""}, now_));
}

TEST_F(Handler, ALogInReplacesTheSessionThatTheBrowserHad) {
  ASSERT_EQ(log_in().status, 201);
  const std::string first = session_;
  ASSERT_EQ(log_in().status, 201);
  EXPECT_NE(session_, first);
  EXPECT_FALSE(console_.is_live({0, first, ""}, now_));
}

TEST_F(Handler, APasswordThatCannotBeStoredStaysAsItWas) {
  ASSERT_EQ(log_in().status, 201);
  store_.is_full = true;
  const Response response =
      send("PUT", "/api/v1/password",
           "{\"current\":\"seven wet otters sing\",\"new\":\"another good password\"}");
  EXPECT_EQ(response.status, 500);
  EXPECT_NE(response.body.find("state_not_written"), std::string::npos);
  EXPECT_EQ(log_in().status, 201);
}

TEST_F(Handler, WithoutAPasswordNobodyLogsIn) {
  store_.state.password.clear();
  const Response response = log_in("");
  EXPECT_EQ(response.status, 403);
  EXPECT_NE(response.body.find("no_password"), std::string::npos);
}

TEST_F(Handler, OneChangeAtATime) {
  ASSERT_EQ(log_in().status, 201);
  const Response first = send("POST", "/api/v1/revert", "{}");
  ASSERT_TRUE(first.call);
  EXPECT_EQ(send("POST", "/api/v1/revert", "{}").status, 409);
  EXPECT_EQ(first.then(Answer{}).status, 503);
  EXPECT_TRUE(send("POST", "/api/v1/revert", "{}").call);
}

TEST_F(Handler, ABrokenAnswerBecomesAProblem) {
  ASSERT_EQ(log_in().status, 201);
  for (const char* output :
       {"", "{", "[]", "null", "{\"error\":1}", "{\"error\":\"x\",\"messages\":7}",
        "{\"error\":\"x\",\"messages\":[1,{}]}",
        "{\"error\":\"x\",\"messages\":[\"standard input:\",\"standard input:1\","
        "\"standard input:1: a[: x\",\"standard input:1: [9999999999].: x\"]}"}) {
    const Response asked = send("POST", "/api/v1/plan", "{\"a\":[1]}");
    ASSERT_TRUE(asked.call);
    const Response response = asked.then({1, Outcome::ended, 1, output, "l3ctl: no\n"});
    EXPECT_GE(response.status, 400) << output;
  }
}

TEST(Passwords, AHashIsYescryptWithASaltOfItsOwn) {
  const std::string one = hash_password(password);
  EXPECT_EQ(one.substr(0, 3), "$y$");
  EXPECT_NE(one, hash_password(password));
  EXPECT_TRUE(is_password(password, one));
  EXPECT_FALSE(is_password("seven wet otters sinG", one));
  EXPECT_FALSE(is_password(password, ""));
  EXPECT_FALSE(is_password(password, "*0"));
}

}  // namespace
}  // namespace console
