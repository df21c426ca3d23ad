// The file by which Wireshark finds this program.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace client {

/// Wireshark runs every program that lies in its folders of external captures, without a word of ours in front of its
/// arguments. So there is a link to this program, whose name says what is meant; or, where the program needs options in front of that,
/// a script.
inline constexpr const char* kExtcapLink = "qor-trace-extcap";

/// The arguments as if they had been typed: "extcap" comes first when the program was started through the link.
/// @param program  as it was started: argv[0]
[[nodiscard]] std::vector<std::string> WithVerb(const std::string& program, std::vector<std::string> arguments);

/// Where Wireshark looks for the user's own external captures; that depends on its version, so there are two.
/// Failure: Failure when it isn't known where the user's files are.
[[nodiscard]] std::vector<std::filesystem::path> ExtcapFolders();

/// Makes the link, or the script, in each folder, and the folders that are missing. What an earlier call has made is replaced.
///
/// @param program  that it leads to, with its whole path
/// @param options  of the program, in front of "extcap"; mostly none
/// @return   a line for each folder: what was done
/// Failure:  Failure when something else has the name, or it can't be made; those before it are made.
[[nodiscard]] std::string InstallLinks(const std::filesystem::path& program, const std::vector<std::string>& options,
                                       const std::vector<std::filesystem::path>& folders);

/// Removes what InstallLinks has made, and nothing else.
/// @return   a line for each folder
/// Failure:  Failure when something can't be removed.
[[nodiscard]] std::string RemoveLinks(const std::vector<std::filesystem::path>& folders);

}  // namespace client
