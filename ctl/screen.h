#pragma once

#include <csignal>
#include <string>

// Whether standard output is a terminal that shows colours: not where NO_COLOR is set, nor TERM is
// "dumb".
bool ctl_has_colour();

// A terminal on which a text is redrawn again and again, in place; elsewhere each is printed behind
// the other, a blank line between. One object at a time: it has SIGINT and SIGTERM for its life.
class CtlScreen {
  public:
    CtlScreen();
    ~CtlScreen();
    CtlScreen(const CtlScreen&) = delete;
    CtlScreen& operator=(const CtlScreen&) = delete;

    // As much of the text as fits.
    void Draw(const std::string& text);
    // Waits so long, less when the terminal changes its size; false once a signal asks for the end,
    // or standard output has gone.
    bool Wait(int ms);

  private:
    void DrawInPlace(const std::string& text);

    bool m_in_place;
    bool m_is_first = true;
    bool m_is_gone = false;
    sigset_t m_before;
    int m_signals;  // descriptor
};
