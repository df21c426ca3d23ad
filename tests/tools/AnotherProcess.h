// What another process sees or says.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

/// Runs `ask` in a process of its own; its text.
template <class Ask>
std::string InAnotherProcess(Ask ask) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    const std::string text = ask();
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string text;
  char bytes[256];
  for (ssize_t got; (got = read(ends[0], bytes, sizeof bytes)) > 0;) text.append(bytes, static_cast<std::size_t>(got));
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return text;
}
