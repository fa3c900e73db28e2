#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

// What the action writes to standard output, through stdio or the descriptor.
template <typename Action>
std::string CapturedOutput(Action&& action) {
    testing::internal::CaptureStdout();
    std::forward<Action>(action)();
    return testing::internal::GetCapturedStdout();
}
