// cmpwnd.h - the archiver's progress window: four text fields, the Stop
// flag and the overwrite question.  Every change is also handed to the
// application's hooks, so a run can be followed where there are no windows.
#ifndef VELNOR_COMPRESS_CMPWND_H
#define VELNOR_COMPRESS_CMPWND_H

#include <cstdint>

// The four fields.
enum {
    CMP_F_STATUS = 0,   // what the run does, 80 characters
    CMP_F_OVERALL = 1,  // overall percentage, 20
    CMP_F_FILE = 2,     // current file, 40
    CMP_F_FILEPCT = 3   // per-file percentage, 22
};

// Clears the stop flag and the fields, registers the class once, creates
// and shows the window and pumps.
void cmpwndopen();
// Pumps until the queue is empty (at most 50000 messages) and destroys
// the window.
void cmpwndclose();
// Sets a field (cut to its size); a changed field is repainted and the
// queue pumped.  The progress hook sees every setting.
void cmpfield(int32_t field, const char* text);
// Sets a field from a printf format.
void cmpfieldf(int32_t field, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Sets a field to "%d%%" with percent.
void cmppercent(int32_t field, int64_t percent);
// Pumps, polls the application's stop hook, and returns the stop flag.
int32_t cmpstopped();
// Asks the Yes/No question titled "Compress": 1 yes, 0 no.
int32_t cmpask(const char* question);

#endif
