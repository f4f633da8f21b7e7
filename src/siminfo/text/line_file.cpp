#include "siminfo/text/line_file.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "siminfo/text/text_rules.h"

namespace siminfo {

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(kBlanks) + 1));
  return text;
}

namespace {

/// Reads at most a byte more than the longest file has. Returns 0, or an errno value.
int readFile(const std::string& fileName, std::string& text) {
  errno = 0;
  std::ifstream file(fileName, std::ios_base::binary);
  if (!file.is_open()) return errno != 0 ? errno : EIO;
  constexpr std::size_t kPiece = std::size_t{1} << 16U;
  for (std::size_t size = 0; file && size <= kLongestLineFile;) {
    text.resize(size + std::min(kPiece, kLongestLineFile + 1 - size));
    file.read(text.data() + size, static_cast<std::streamsize>(text.size() - size));
    text.resize(size += static_cast<std::size_t>(file.gcount()));
  }
  // A folder can be opened, and only reading it fails.
  if (file.bad() || errno == EISDIR) return errno != 0 ? errno : EIO;
  return text.size() > kLongestLineFile ? EFBIG : 0;
}

}  // namespace

std::string readLines(const std::string& fileName,
                      const std::function<std::string(std::string_view line)>& take) {
  std::string text;
  if (const int error = readFile(fileName, text); error != 0)
    return printable(fileName) + ": " +
           (error == EFBIG ? "is larger than 64 MiB; expected a list, one entry per line"
                           : std::generic_category().message(error));
  std::string_view rest = text;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::string_view content = trimmed(line);
    if (content.empty() || content.starts_with('#')) continue;
    const std::string fault = take(content);
    if (!fault.empty())
      return printable(fileName).append(":").append(std::to_string(number)).append(": ") + fault;
  }
  return {};
}

}  // namespace siminfo
