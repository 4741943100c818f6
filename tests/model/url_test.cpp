// Addresses of requests.
#include "platform/url.h"

#include <gtest/gtest.h>

namespace quillfold::url {
namespace {

TEST(URL, JoinsWithOneSlashAndEscapesWhatAPathCannotHold) {
  for (const char* address : {"http://h", "http://h/", "http://h//"}) {
    EXPECT_EQ(appendingPathComponent(address, "a/b"), "http://h/a/b");
    EXPECT_EQ(appendingPathComponent(address, "/a b?c#d%é"), "http://h/a%20b%3Fc%23d%25%C3%A9");
  }
}

TEST(URL, EscapesNamesAndValuesOfTheQuery) {
  EXPECT_EQ(appendingQuery("http://h/p", {}), "http://h/p");
  EXPECT_EQ(appendingQuery("http://h/p", {{"q x", "a&b=c+é/"}, {"z", ""}}),
            "http://h/p?q%20x=a%26b%3Dc%2B%C3%A9%2F&z=");
  EXPECT_EQ(appendingQuery("http://h/p?a=1", {{"b", "2"}}), "http://h/p?a=1&b=2");
}

}  // namespace
}  // namespace quillfold::url
