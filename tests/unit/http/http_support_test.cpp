// The header and URL rules of the HTTP downloader.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "http/http_downloader.h"
#include "http/http_support.h"

namespace quorvi::detail {
namespace {

using namespace MHttpSupport;

TEST(HttpHeader, ValuesAndLength) {
  const std::string h = "HTTP/1.1 206 Partial\r\ncontent-length: 1234\r\nX-A:\r\nConnection: close";
  EXPECT_EQ(GetHeaderValue(h, "Content-Length:"), "1234");  // names match without case
  EXPECT_EQ(GetHeaderValue(h, "Connection:"), "close");     // last line: no CR LF after it
  EXPECT_EQ(GetHeaderValue(h, "X-A:"), "");
  EXPECT_EQ(GetHeaderValue(h, "Location:"), "");
  const std::pair<const char*, double> cases[] = {
      {"68719476736", 68719476736.0}, {"77HTTP/1.1 200", 77}, {"12x", 0}, {"", 0}};
  for (const auto& [value, want] : cases) {
    const std::string header = std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + value + "\r\n";
    EXPECT_EQ(GetContentLength(header), want) << value;
  }
}

TEST(HttpHeader, StatusLineAndCode) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"X: 1\r\nHTTP/1.1 404 Not Found", 404},
      {"HTTP/1.1 200\r\n", 200},  // no reason phrase
      {"garbage line\r\nmore", 0},
      {"HTTP/1.1 2000 Big\r\n", 0}};
  for (const auto& [header, code] : cases)
    EXPECT_EQ(StatusCode(GetStatusLine(header)), code) << header;
  EXPECT_EQ(GetStatusLine("HTTP/1.0 404 Not Found\r\n"), "404 Not Found");
}

TEST(HttpHeader, ErrorPageTitle) {
  const std::string html = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n";
  struct Case {
    std::string response;
    const char* want;
  };
  const Case cases[] = {
      {html + "<TITLE>\r\n\t  Server Error  \r\n</Title>", "Server Error"},
      {html + "<title>Welcome</title>", ""},  // an ordinary page is a file like any other
      {html + "<title>Error", ""},
      {"Content-Type: text/plain\r\n\r\n<title>Error</title>", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(GetErrorPageTitle(c.response), c.want) << c.response;
}

TEST(HttpUrl, GetHostAndPort) {
  const std::pair<const char*, const char*> cases[] = {
      {"  http://example.com:8080/a  ", "example.com:8080"},
      {"https://example.com/x", "example.com:80"},
      {"http:\\\\example.com\\dir\\f.txt", "example.com:80"},
      {"example.com/f", "example.com:80"},
      {"http://example.com", "example.com"},  // no path: the host part as written
  };
  for (const auto& [url, want] : cases) EXPECT_EQ(GetHostAndPort(url), want) << url;
}

}  // namespace
}  // namespace quorvi::detail
