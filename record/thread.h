// thread.h - thread expressions: the conditions that select the records of
// a thread, evaluated straight from their text.
#ifndef VELNOR_RECORD_THREAD_H
#define VELNOR_RECORD_THREAD_H

#include <cstdint>

#include "velnor.h"

enum { THREAD_TEXTMAX = 512 };

struct ThreadVal {
    uint8_t isnum;
    double num;
    char text[THREAD_TEXTMAX];
};

// Evaluates expr on record into *val; the position where reading stopped,
// or null with status 44.
const char* threadeval(FHCB* cb, const char* record, const char* expr, ThreadVal* val,
                       int wantnum);
// 1 when record satisfies thread number thread, 0 when not, -1 on failure.
int threadtest(FHCB* cb, const char* record, int thread);

#endif
