#pragma once

#include <string>
#include <string_view>

namespace siminfo {

/// The line in which a compiler, a linker or a build says that the machine is short of something: memory,
/// disk space, descriptors, processes. Empty when it says nothing of the kind. `text` is untranslated. Where
/// it shows a comment or an #error line of a source, it repeats what a device may have said, which does not
/// count.
std::string shortageIn(std::string_view text);

/// "ended by signal 9 (Killed)", and what that hints at.
std::string signalWords(int signal);

}  // namespace siminfo
