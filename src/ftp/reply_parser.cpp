#include "ftp/reply_parser.h"

#include <algorithm>
#include <cstddef>

#include "local/path_rules.h"

namespace quorvi::detail {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool StartsWithCode(std::string_view line) {
  return line.size() >= 3 && IsDigit(line[0]) && IsDigit(line[1]) && IsDigit(line[2]);
}

std::int16_t CodeOf(std::string_view line) {
  return static_cast<std::int16_t>((line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0'));
}

// Characters, not bytes: the text is UTF-8.
std::size_t CharacterCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Calls fn for every CR LF-terminated line; the unterminated tail is not a line yet.
template <typename Fn>
void ForEachCompleteLine(std::string_view text, Fn&& fn) {
  for (std::size_t end = text.find(kLineEnd); end != std::string_view::npos;
       end = text.find(kLineEnd)) {
    fn(text.substr(0, end));
    text.remove_prefix(end + kLineEnd.size());
  }
}

}  // namespace

std::optional<CompleteReply> TakeCompleteReply(std::string& pending) {
  std::int16_t open_code = 0;  // the code of a multi-line reply that has begun
  std::size_t start = 0;       // where the reply being read begins
  std::size_t at = 0;
  for (std::size_t end = pending.find(kLineEnd); end != std::string::npos;
       end = pending.find(kLineEnd, at)) {
    const std::size_t next = end + kLineEnd.size();
    std::string cleaned = pending.substr(at, end - at);
    std::erase(cleaned, '\0');
    const std::string_view line = TrimBlanks(cleaned);
    const bool coded = StartsWithCode(line);
    const bool final_line = coded && (line.size() == 3 || line[3] != '-');
    if (open_code == 0) {
      if (!coded) {
        start = next;  // not part of any reply
      } else if (final_line) {
        CompleteReply reply{CodeOf(line), pending.substr(start, next - start)};
        pending.erase(0, next);
        return reply;
      } else {
        open_code = CodeOf(line);
      }
    } else if (final_line && CodeOf(line) == open_code && !cleaned.starts_with(' ')) {
      // (Inside a multi-line reply only a line that starts with the code can end it: text
      // lines may begin with a blank and digits.)
      CompleteReply reply{open_code, pending.substr(start, next - start)};
      pending.erase(0, next);
      return reply;
    }
    at = next;
  }
  // Lines that belong to no reply go now, whether or not a reply has begun after them.
  if (start > 0) pending.erase(0, start);
  return std::nullopt;
}

ReplyScan ScanReply(std::string_view buffer) {
  std::int16_t code = 0;
  bool saw_257 = false;
  std::size_t continuation_length = 0;
  ForEachCompleteLine(buffer, [&](std::string_view raw) {
    std::string cleaned(raw);
    std::erase(cleaned, '\0');
    const std::string_view line = TrimBlanks(cleaned);
    if (!StartsWithCode(line)) return;
    if (line.size() == 3) {
      code = CodeOf(line);
    } else if (line[3] == '-') {
      continuation_length += line.size() - 4 + kLineEnd.size();
    } else if (line[3] == ' ') {
      // A PWD/MKD answer still in the buffer must not hide the current command's reply.
      if (CodeOf(line) == 257) {
        saw_257 = true;
      } else {
        code = CodeOf(line);
      }
    }
  });
  if (code == 0 && saw_257) code = 257;
  return {code, code == 0 && continuation_length >= 3};
}

std::string GetResponseInfo(std::string_view text) {
  std::string_view result;
  ForEachCompleteLine(text, [&](std::string_view line) {
    line = line.substr(0, line.find('\0'));
    if (CharacterCount(line) > 3) result = line;
  });
  return std::string(TrimBlanks(result));
}

std::string TrimReceived(std::string_view received) { return std::string(TrimBlanks(received)); }

std::string ReplyMessageText(std::string_view received) {
  std::string_view text = TrimBlanks(received);
  // Drop two characters, never half of a multi-byte one.
  for (int dropped = 0; dropped < 2 && !text.empty(); ++dropped) {
    std::size_t cut = text.size() - 1;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    text = text.substr(0, cut);
  }
  return std::string(text);
}

MessageTypes ReplyMessageType(int code) {
  return code > 399 ? FTP_SERVER_BAD_RESPONSE : FTP_SERVER_RESPONSE;
}

}  // namespace quorvi::detail
