#pragma once

class MigrationEngine;

// Learns when a run begins and when its report is ready, without a window: the
// program takes the run's outcome from here for --outcome and for its exit status.
// One observer for the process at most (MigrationEngine::observer); none by default.
class RunObserver
{
public:
    virtual ~RunObserver() = default;
    // MigrateUsers was called: the run has begun and may write to the Directory.
    virtual void runStarted(const MigrationEngine& run) = 0;
    // GenerateReport has built the report; the outcome lists are complete.
    virtual void reportGenerated(const MigrationEngine& run) = 0;
};
