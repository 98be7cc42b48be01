#pragma once

#include <string>

struct _XDisplay;

namespace quillvane::bench {

// The benchmark's own X client for the pointer: puts it at the start of a run, and posts the
// floor's motions, each a bare XTest motion handed to the server at once.
class XTestPointer {
public:
    XTestPointer() = default;
    ~XTestPointer();

    XTestPointer(const XTestPointer&) = delete;
    XTestPointer& operator=(const XTestPointer&) = delete;

    bool open(std::string& error);

    int screenWidth() const;
    int screenHeight() const;
    // Moves the pointer and waits until the server has done it.
    void warp(int x, int y);
    // XTestFakeMotionEvent and XFlush, as an input backend posts.
    void post(int x, int y);

private:
    _XDisplay* m_display = nullptr;
};

} // namespace quillvane::bench
