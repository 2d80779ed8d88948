// ui.h - the small window face of the progress windows: register a class,
// create and destroy a caption-only window with a Stop button, paint lines
// of text, invalidate a band, pump the thread's message queue and ask a
// Yes/No question.  On systems without windows every call does nothing
// (creation gives null, a question is answered No), so callers need no
// platform tests; applications reach those runs through their own hooks.
#ifndef VELNOR_SUPPORT_UI_H
#define VELNOR_SUPPORT_UI_H

#include <cstdint>

#include "velnor.h"

// A window procedure: window, message, wparam, lparam.
typedef intptr_t(VELNOR_CALL* UIWNDPROC)(void* window, uint32_t message, uintptr_t wparam,
                                         intptr_t lparam);

// Window messages the progress windows handle.
enum { UI_CREATE = 1, UI_PAINT = 15, UI_COMMAND = 273 };

// Registers the window class name with the class style, the procedure, the
// library's instance, the arrow cursor and the light grey stock brush.
// 0 on success (or where there are no windows), -1 on failure.
int32_t uiregister(const char* classname, uint32_t classstyle, UIWNDPROC proc);

// Creates a window of the class with the title and style at x,y of w by h,
// no parent; shows it, updates it and pumps.  The window, or null.
void* uicreate(const char* classname, const char* title, uint32_t style, int32_t x, int32_t y,
               int32_t w, int32_t h);

// Destroys a window made by uicreate; null is ignored.
void uidestroy(void* window);

// Creates a visible child push button with the text and control id at
// x,y of w by h, the instance taken from the parent.  Null when none.
void* uibutton(void* parent, const char* text, int32_t x, int32_t y, int32_t w, int32_t h,
               int32_t id);

// One line of a painted window: text drawn at x,y in colour 0x00BBGGRR,
// only when the top of the band being painted lies above bottom.
struct UiLine {
    int32_t x;
    int32_t y;
    int32_t bottom;
    uint32_t colour;
    const char* text;
};

// Paints the window's lines (null texts are skipped) on the background
// colour (0x00BBGGRR), between begin and end of painting.
void uipaint(void* window, uint32_t background, const UiLine* lines, int32_t count);

// Marks the band left,top,right,bottom of the window for repainting with
// erasing, then pumps.  Null windows are ignored.
void uiinvalidate(void* window, int32_t left, int32_t top, int32_t right, int32_t bottom);

// Removes and dispatches every message waiting for the calling thread.
void uipump();

// The same, but stops after most messages even if more keep arriving: the
// cost follows what is waiting, with a bound.
void uidrain(int32_t most);

// The default procedure for messages a window does not handle.
intptr_t uidefault(void* window, uint32_t message, uintptr_t wparam, intptr_t lparam);

// Asks question in a Yes/No message box with the title: 1 for Yes, 0 for
// anything else (always 0 where there are no windows).
int32_t uiask(const char* question, const char* title);

// Asks question in an OK/Cancel message box with the question icon and no
// owner window: 1 for OK, 0 for anything else (always 0 where there are no
// windows).
int32_t uiconfirm(const char* question, const char* title);

#endif
