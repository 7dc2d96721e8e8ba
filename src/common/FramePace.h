#pragma once
// Readings can come faster than an eye follows them (the fast clock, a trace
// catching up): the windows that show each reading hand their repaints (and the
// grid its scroll to the newest row) to the frame pace, which passes them on
// together at most 25 times a second. After a quiet moment they are passed on as
// soon as the event loop comes round, so a reading a second is shown at once.

#include <functional>

class QObject;
class QWidget;

namespace kvx {

constexpr int kFrameMs = 40; // 25 frames a second

// Runs `work` at the next frame, unless `context` is gone by then. One work waits
// per context: asked again before its frame, it runs once, so a work that reads
// its window's state when it runs sees all that came meanwhile.
void atFramePace(QObject* context, std::function<void()> work);
// Repaints the whole of `widget` at the next frame.
void updateAtFramePace(QWidget* widget);
// Runs what waits for the next frame now, and lets the next requests through as
// after a quiet moment: for tests and benchmarks that stand for readings a second
// apart but come much faster.
void updateWaitingNow();

} // namespace kvx
