#pragma once

// A thread whose body is a virtual operation of the derived class. The owner calls Stop() before
// the object goes; the destructor does not join.
class CTThreadWorker {
  public:
    CTThreadWorker() = default;
    virtual ~CTThreadWorker() = default;
    CTThreadWorker(const CTThreadWorker&) = delete;
    CTThreadWorker& operator=(const CTThreadWorker&) = delete;

    // Runs pvu_thread_func_wrapper in a new thread with this worker; true on success.
    bool Start();
    // Joins; returns the join's result, 0 on success.
    int Stop();

    // The identity of the calling thread, not of the worker's.
    static unsigned long GetID();
    // Whether the caller is the thread with that identity.
    static bool CheckIdEquals(unsigned long id) { return GetID() == id; }
    // Sets the worker thread to policy SCHED_OTHER with that priority; returns the POSIX result.
    int SetPriority(int prio);

    // Calls the worker's body if the argument is not null; returns null.
    static void* pvu_thread_func_wrapper(void* worker);

  protected:
    virtual void ThreadBody() = 0;

  private:
    unsigned long m_handle = 0;
};
