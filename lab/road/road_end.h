#pragma once

#include "lab/road/udp_frame.h"

// One end of a road that a program of the lab carries frames along: an interface, all of whose
// frames it takes in.
class RoadEnd {
  public:
    RoadEnd() = default;
    ~RoadEnd();
    RoadEnd(const RoadEnd&) = delete;
    RoadEnd& operator=(const RoadEnd&) = delete;

    // False with one line on standard error.
    bool Open(const char* interface);
    int Handle() const { return m_fd; }
    // The next frame that came in; false when none waits.
    bool Receive(Frame& frame);
    // A full queue loses the frame, as a wire would.
    void Send(const Frame& frame);

  private:
    int m_fd = -1;
    Frame m_buffer;
};
