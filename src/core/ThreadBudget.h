#pragma once

// How many threads each engine may compute with, so that recognition and the language model
// together ask for no more cores than the machine has. Recognition may use up to 4. While a
// recording runs, recognition keeps its threads and the language model takes what is left (at
// least one: its reading then runs at idle priority beside recognition); otherwise it may use up
// to 4 as well. Any thread.
namespace ThreadBudget {

int recognition();
int languageModel();

// The same for a machine with `cores` cores.
int recognition(int cores);
int languageModel(int cores, bool isRecording);

// Marks a recording as running for as long as it lives.
class Recording
{
public:
    Recording();
    ~Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;
};

} // namespace ThreadBudget
