#pragma once

namespace zeqcam::tool {

// Lets the process keep less of what it has freed: what the threads of a run write into its journal another
// one frees, and their heaps would stay as large as they once were. Before threads start.
void keepMemorySmall();

// One heap for all threads, which is the fastest to make and to take down: for a process of one short run.
// Before threads start.
void keepOneHeap();

// Gives what is free back to the system: between a run and what shows it.
void giveMemoryBack();

}  // namespace zeqcam::tool
