#pragma once

// For the threads of the datapath: the calling thread is one that works on what has gathered. When
// it is woken it does not push aside the one that woke it, which may still be filling the queue;
// and nothing else changes. Where the system refuses, nothing does.
void pvu_batch_thread();
