#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

// What the action writes to standard output, through stdio or the descriptor.
template <typename Action>
std::string CapturedOutput(Action&& action) {
    testing::internal::CaptureStdout();
    std::forward<Action>(action)();
    return testing::internal::GetCapturedStdout();
}

// Captures standard output for the life of the object, or until it is taken; shows it when the
// test has failed.
class OutputCapture {
  public:
    OutputCapture() { testing::internal::CaptureStdout(); }
    ~OutputCapture() {
        if (m_capturing) Take();
        if (testing::Test::HasFailure()) printf("%s", m_output.c_str());
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // What was written so far; the capture ends.
    std::string Take() {
        if (m_capturing) m_output = testing::internal::GetCapturedStdout();
        m_capturing = false;
        return m_output;
    }

  private:
    bool m_capturing = true;
    std::string m_output;
};
