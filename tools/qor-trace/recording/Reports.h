// The error reports of the library: what a failing call said, and what happened on its threads meanwhile.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace client::Reports {

/// From now on an error that ends the process on a thread of the library is explained on standard error first (exit code 1). To
/// be called once, before anything else of the library.
void Install();

/// Keeps a report that the library makes, on whichever thread that is. To be called before the library goes on.
void Note(unsigned int code, const char* text);

/// Called before such an error ends the process, whatever other threads are doing; it must not wait for them.
void SetLastWish(std::function<void()> wish);

/// Place in the row of reports; those after it belong to what is done next.
[[nodiscard]] size_t Mark();

/// Throws what a failed call means as a Failure: "Cannot start the recording: no bus interfaces selected (0x02140009)".
///
/// @param status  of the call; 0 does nothing
/// @param what    "Cannot start the recording"
/// @param mark    taken before the call
void Check(unsigned int status, const std::string& what, size_t mark);

/// True once a file of a running recording (swap file, live ASC file) could not be written, or memory was exhausted on a
/// thread of the library. It is set before the library lets anybody see the entries that this concerns.
[[nodiscard]] bool RecordingFailed();
/// Whether it was a file, at least as well.
[[nodiscard]] bool FileFailed();

/// Why, in the library's words and with its code.
[[nodiscard]] std::string RecordingFailure();

}  // namespace client::Reports
