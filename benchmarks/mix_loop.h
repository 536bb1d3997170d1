// The least work that mixes sources: a loop that copies each block into a small ring and adds it from there.
#ifndef QUARN_BENCHMARKS_MIX_LOOP_H_
#define QUARN_BENCHMARKS_MIX_LOOP_H_

// Measures the mixer beside the loop, in turns, and prints the rows of a Markdown table. Returns whether both made the
// same samples.
bool CompareWithLoop(unsigned int rounds);

#endif  // QUARN_BENCHMARKS_MIX_LOOP_H_
