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

std::string readLines(const std::string& fileName,
                      const std::function<std::string(std::string_view line)>& take) {
  errno = 0;
  std::ifstream file(fileName, std::ios_base::binary);
  std::string line;
  for (std::size_t number = 1; std::getline(file, line); ++number) {
    const std::string_view text = trimmed(line);
    if (text.empty() || text.starts_with('#')) continue;
    const std::string fault = take(text);
    if (!fault.empty())
      return printable(fileName).append(":").append(std::to_string(number)).append(": ") + fault;
  }
  // A folder can be opened, and only reading it fails.
  if (file.is_open() && !file.bad() && errno != EISDIR) return {};
  return printable(fileName) + ": " + std::generic_category().message(errno != 0 ? errno : EIO);
}

}  // namespace siminfo
