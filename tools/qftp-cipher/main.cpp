// qftp-cipher TEXT            prints TEXT enciphered for a component with Lype = 1
// qftp-cipher --decipher TEXT prints the plain text of an enciphered value
#include <cstdio>
#include <string_view>

#include "component/credential_cipher.h"

int main(int argc, char** argv) {
  const bool decipher = argc == 3 && std::string_view(argv[1]) == "--decipher";
  if (argc != 2 && !decipher) {
    std::fprintf(stderr, "usage: qftp-cipher [--decipher] TEXT\n");
    return 2;
  }
  const std::string_view text = argv[argc - 1];
  const auto out = decipher ? quorvi::detail::Decipher(text) : quorvi::detail::Encipher(text);
  std::printf("%s\n", out.c_str());
  return 0;
}
