#pragma once

#include <QString>

class QWidget;

// What the migration run shows while it goes, and how it keeps the window alive.
// The run has no window of its own: the migration window implements this and hands
// itself to the run; tests and the benchmark hand in one that records or ignores it.
// Every question of the run goes through AppPrompter, never through this.
class RunProgress
{
public:
    virtual ~RunProgress() = default;

    // The caption over the bar ("Migrating stores, please wait.").
    virtual void setDescription(const QString& text) = 0;
    // The bar's bounds and position, each set on its own and in the order the run
    // sets them.
    virtual void setMinimum(int minimum) = 0;
    virtual void setMaximum(int maximum) = 0;
    virtual void setValue(int value) = 0;
    // Paints the bar at once, before the next pass of event processing.
    virtual void repaint() = 0;
    // One pass of the interface's pending events; the window's own implementation
    // goes through AppClock::processEvents, so tests control it.
    virtual void processEvents() = 0;
    // The window the run's questions are shown over; none by default.
    virtual QWidget* questionParent() const { return nullptr; }
};
