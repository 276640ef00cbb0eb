#include "kelChild.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarvo::load {
namespace {

constexpr int limit = 120'000;  // milliseconds; a guard against hanging, far beyond what anything here takes

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

struct Pipe {
  Pipe() {
    if (::pipe2(ends, O_CLOEXEC) != 0) fail("pipe2");
  }
  int ends[2] = {-1, -1};
};

}  // namespace

Child::Child(const std::vector<std::string>& command) {
  for (const std::string& word : command) name_ += (name_.empty() ? "" : " ") + word;
  const Pipe to;
  const Pipe from;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, to.ends[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, from.ends[1], STDOUT_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  errno = posix_spawnp(&pid_, arguments.front(), &actions, nullptr, arguments.data(), environ);
  if (errno != 0) fail("cannot run " + name_);
  posix_spawn_file_actions_destroy(&actions);
  ::close(to.ends[0]);
  ::close(from.ends[1]);
  in_ = to.ends[1];
  out_ = from.ends[0];
}

Child::~Child() {
  ::close(in_);
  ::close(out_);
  ::kill(pid_, SIGKILL);  // all that it had to print has been read
  while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) continue;
}

void Child::say(const std::string& line) {
  const std::string text = line + "\n";
  if (::write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) fail("write to " + name_);
}

std::string Child::hear() {
  for (;;) {
    const std::size_t end = heard_.find('\n');
    if (end != std::string::npos) {
      const std::string line = heard_.substr(0, end);
      heard_.erase(0, end + 1);
      return line;
    }
    pollfd entry = {out_, POLLIN, 0};
    const int ready = ::poll(&entry, 1, limit);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) throw std::runtime_error(name_ + " hangs");
    char piece[4096];
    const ssize_t got = ::read(out_, piece, sizeof piece);
    if (got <= 0) throw std::runtime_error(name_ + " ended");
    heard_.append(piece, static_cast<std::size_t>(got));
  }
}

std::string Child::ask(const std::string& line) {
  say(line);
  return hear();
}

void Child::expect(const std::string& line) {
  const std::string heard = hear();
  if (heard != line) throw std::runtime_error("\"" + heard + "\" instead of \"" + line + "\"");
}

}  // namespace tarvo::load
