#include "FullScreen.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "FileDescriptor.h"

namespace velmo::cli {

namespace {

// The other screen, without the cursor and without wrapped lines; and back.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr std::string_view kLeave = "\x1b[?7h\x1b[?25h\x1b[?1049l";
constexpr std::string_view kHome = "\x1b[H";
constexpr std::string_view kEndOfLine = "\x1b[K";
constexpr std::string_view kEndOfScreen = "\x1b[J";

// Only interrupts the wait for something to draw.
void ignore(int /*number*/) {}

// Whether the shell has started it with "&", or has taken the terminal back. A terminal of another
// session has no such group.
bool isInBackground() {
  const pid_t user = tcgetpgrp(STDOUT_FILENO);
  return user != -1 && user != getpgrp();
}

}  // namespace

bool FullScreen::isPossible(const Output& output) {
  const char* terminal = std::getenv("TERM");
  return output.isTerminal() && terminal != nullptr && *terminal != '\0' &&
         std::string_view(terminal) != "dumb" && !isInBackground();
}

FullScreen::FullScreen(Output& output) : m_output(output) {
  m_output.write(kEnter);
  struct sigaction action {};
  action.sa_handler = ignore;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGWINCH, &action, &m_formerAction);
}

FullScreen::~FullScreen() {
  sigaction(SIGWINCH, &m_formerAction, nullptr);
  tools::writeWhole(STDOUT_FILENO, kLeave);
}

// Ctrl-C stays a signal. Keys that would stop or end the process with the screen as it is do
// nothing.
Keys::Keys() {
  if (tcgetattr(STDIN_FILENO, &m_former) != 0) {
    return;
  }
  termios keys = m_former;
  keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  keys.c_cc[VSUSP] = _POSIX_VDISABLE;
  keys.c_cc[VQUIT] = _POSIX_VDISABLE;
  keys.c_cc[VMIN] = 0;
  keys.c_cc[VTIME] = 0;
  if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &keys) == 0) {
    m_descriptor = STDIN_FILENO;
  }
}

Keys::~Keys() {
  if (m_descriptor >= 0) {
    tcsetattr(m_descriptor, TCSAFLUSH, &m_former);
  }
}

// Nothing to read means that the terminal is gone.
bool FullScreen::takesQuit() {
  std::array<char, 64> typed{};
  const ssize_t count = read(keys(), typed.data(), typed.size());
  if (count <= 0) {
    return count == 0 || errno != EINTR;
  }
  const std::string_view text(typed.data(), static_cast<std::size_t>(count));
  return text.find('q') != std::string_view::npos;
}

void FullScreen::draw(const std::vector<std::string>& lines, std::optional<std::size_t> headings) {
  std::string page(kHome);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    page += i == 0 ? "" : "\r\n";
    page += i == headings ? m_output.styled(lines[i], Style::Heading) : lines[i];
    page += kEndOfLine;
  }
  m_output.write(page += kEndOfScreen);
}

}  // namespace velmo::cli
