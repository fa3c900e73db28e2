#pragma once

// Sleeps the calling thread. A signal cuts pvu_msleep short; pvu_usleep sleeps on until the whole
// time has passed.
void pvu_msleep(unsigned ms);
void pvu_usleep(unsigned us);
