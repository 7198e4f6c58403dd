// Events and the credential cipher.
#include <gtest/gtest.h>
#include <quorvi/event.h>

#include <stdexcept>
#include <string>

#include "component/credential_cipher.h"

namespace quorvi {
namespace {

TEST(Event, OrderFailuresAndChangesDuringARaise) {
  Event event;
  std::string calls;
  Event::Id c_id = 0;
  event.Subscribe([&] {
    calls += "a";
    event.Unsubscribe(c_id);  // takes effect with the next raise
    event.Subscribe([&] { calls += "d"; });
  });
  event.Subscribe([] { throw std::runtime_error("host handler failed"); });
  c_id = event.Subscribe([&] { calls += "c"; });
  event.Raise();
  EXPECT_EQ(calls, "ac");
  event.Raise();
  EXPECT_EQ(calls, "acad");
  EXPECT_FALSE(event.Unsubscribe(c_id));
}

TEST(CredentialCipher, RoundTripsAnyTextAsHex) {
  std::string all_bytes;
  for (int b = 0; b < 256; ++b) all_bytes += static_cast<char>(b);
  for (const std::string& plain : {std::string(), std::string("pässwörd|名前"), all_bytes}) {
    const auto hidden = detail::Encipher(plain);
    EXPECT_EQ(hidden.size(), plain.size() * 2);
    EXPECT_EQ(hidden.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_EQ(detail::Decipher(hidden), plain);
  }
  const auto repeated = detail::Encipher("aaaa");  // the key stream moves along the text
  EXPECT_NE(repeated.substr(0, 2), repeated.substr(2, 2));
  for (const char* plain : {"abc", "zz", "host.example"}) EXPECT_EQ(detail::Decipher(plain), plain);
}

}  // namespace
}  // namespace quorvi
