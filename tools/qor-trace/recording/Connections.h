// The trace library's connections to interfaces: which of them no longer answer.
//
// A receive thread ends at the first poll that fails, without a word. Whoever passes its calls on notes them here.
#pragma once

namespace client::Connections {

/// The connection that this thread opens next is to the interface of this port.
void NextIsOf(unsigned int port);

void NoteOpened(unsigned int connection);

/// A command that the interface has refused, with its answer.
/// @param poll  nothing is read from the interface any more
void NoteRefusal(unsigned int connection, unsigned int answer, bool poll);

/// Whether a poll of the port's interface has failed.
[[nodiscard]] bool IsGone(unsigned int port);

/// Whether this is what an interface that is gone has last answered.
[[nodiscard]] bool IsAnswerOfGone(unsigned int answer);

}  // namespace client::Connections
