// MHttpSupport: the text rules the HTTP downloader applies to URLs and response headers. Pure
// functions on text; names are compared without regard to ASCII case.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvi::detail::MHttpSupport {

/// Value of a header line: the text after name and one more character (the blank after the colon)
/// up to the next CR LF; "" when header is empty or does not contain name.
std::string GetHeaderValue(std::string_view header, std::string_view name);
/// Content-Length as a number (the part before an "HTTP" glued to the value); 0 on any failure.
double GetContentLength(std::string_view header);
/// False when the header has two Content-Length lines whose values differ (a response that
/// reads as two different files to two readers).
bool ContentLengthsAgree(std::string_view header);
/// The status of the first line starting with "HTTP/" (else the first line): the text after its
/// first blank, e.g. "200 OK".
std::string GetStatusLine(std::string_view header);
/// The title of an HTML error page ("" unless the response is text/html and its title says wrong,
/// error, invalid or 出错), without surrounding line breaks, tabs and blanks.
std::string GetErrorPageTitle(std::string_view response);
/// "host:port" of a URL: ":80" is added when the URL has a path but names no port; a URL without a
/// path gives its host part as written. An IPv6 host keeps its brackets ("[::1]:80").
std::string GetHostAndPort(std::string_view url);
/// Texts of the HTTP error numbers 18001..18004 and 18404; "" for any other number.
std::string GetHttpErrorText(std::int32_t number);

}  // namespace quorvi::detail::MHttpSupport
