#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "base/pvu_event.h"

// What goes to the system's log for the life of the object, as "LEVEL line" with the level's first
// letter. One at a time.
class EventCapture {
  public:
    EventCapture() {
        s_lines.clear();
        EXPECT_TRUE(pvu_events_start(Write));
    }
    ~EventCapture() { pvu_events_end(); }
    EventCapture(const EventCapture&) = delete;
    EventCapture& operator=(const EventCapture&) = delete;

    // The first line that begins so, which may have to come; empty when it does not.
    std::string WaitFor(const std::string& begin) {
        std::unique_lock lock(s_mutex);
        std::vector<std::string>::iterator found;
        auto here = [&] {
            found = std::ranges::find_if(
                s_lines, [&](const std::string& line) { return line.rfind(begin, 0) == 0; });
            return found != s_lines.end();
        };
        return s_arrived.wait_for(lock, std::chrono::seconds(10), here) ? *found : "";
    }
    // All so far; what is on its way is waited for.
    std::vector<std::string> Lines() {
        CTEvent(CTEventLevel::kInfo, "all").Log();
        WaitFor("I all");
        std::lock_guard lock(s_mutex);
        std::erase(s_lines, "I all");
        return s_lines;
    }

  private:
    static void Write(CTEventLevel level, const char* line) {
        std::lock_guard lock(s_mutex);
        s_lines.push_back(std::string(1, "EWNI"[static_cast<int>(level)]) + " " + line);
        s_arrived.notify_all();
    }

    inline static std::mutex s_mutex;
    inline static std::condition_variable s_arrived;
    inline static std::vector<std::string> s_lines;
};
