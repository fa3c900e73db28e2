#include "ctl/screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Sequences of ECMA-48 and, for wrapping, of the DEC terminals that all others follow.
constexpr char kHome[] = "\x1b[H";
constexpr char kEndOfLine[] = "\x1b[K\n";
constexpr char kEraseBelow[] = "\x1b[J";
constexpr char kNoWrap[] = "\x1b[?7l";
constexpr char kWrap[] = "\x1b[?7h";
constexpr int kDefaultRows = 24;

bool IsTerminal() {
    const char* terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && terminal && strcmp(terminal, "dumb") != 0;
}

int Rows() {
    winsize size;
    bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
    return known ? size.ws_row : kDefaultRows;
}

}  // namespace

bool ctl_has_colour() {
    const char* refused = getenv("NO_COLOR");
    return IsTerminal() && (!refused || *refused == '\0');
}

CtlScreen::CtlScreen() : m_in_place(IsTerminal()) {
    sigset_t mask;
    sigemptyset(&mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
        sigaddset(&mask, sig);
    sigprocmask(SIG_BLOCK, &mask, &m_before);
    m_signals = signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK);
    signal(SIGPIPE, SIG_IGN);
}

CtlScreen::~CtlScreen() {
    if (m_in_place) fputs(kWrap, stdout);
    fflush(stdout);
    if (m_signals >= 0) close(m_signals);
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

void CtlScreen::Draw(const std::string& text) {
    if (m_in_place) {
        DrawInPlace(text);
    } else {
        if (!m_is_first) fputs("\n", stdout);
        fputs(text.c_str(), stdout);
    }
    m_is_first = false;
    m_is_gone = fflush(stdout) != 0;
}

// Line by line over what is there, so that nothing flickers. What does not fit is named.
void CtlScreen::DrawInPlace(const std::string& text) {
    std::string frame = std::string(kNoWrap) + kHome;
    int room = Rows() - 1;
    int left_out = 0;
    for (size_t begin = 0; begin < text.size();) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        bool is_last = end + 1 >= text.size() && left_out == 0;
        if (room > 1 || (room == 1 && is_last)) {
            frame += text.substr(begin, end - begin) + kEndOfLine;
            --room;
        } else {
            ++left_out;
        }
        begin = end + 1;
    }
    if (left_out > 0) frame += "... " + std::to_string(left_out) + " more lines" + kEndOfLine;
    fputs((frame + kEraseBelow).c_str(), stdout);
}

bool CtlScreen::Wait(int ms) {
    if (m_is_gone) return false;
    pollfd wait = {m_signals, POLLIN, 0};
    if (poll(&wait, 1, ms) <= 0) return true;
    signalfd_siginfo info;
    if (read(m_signals, &info, sizeof info) != sizeof info) return true;
    return info.ssi_signo == SIGWINCH;
}
