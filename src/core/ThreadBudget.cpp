#include "core/ThreadBudget.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

std::atomic<int> recordingsRunning = 0;

int cores()
{
    return std::max(1, int(std::thread::hardware_concurrency()));
}

} // namespace

namespace ThreadBudget {

int recognition(int cores)
{
    return std::clamp(cores, 1, 4);
}

int languageModel(int cores, bool isRecording)
{
    if (!isRecording)
        return std::clamp(cores, 1, 4);
    return std::clamp(cores - recognition(cores), 1, 4);
}

int recognition()
{
    return recognition(cores());
}

int languageModel()
{
    return languageModel(cores(), recordingsRunning.load() > 0);
}

Recording::Recording()
{
    ++recordingsRunning;
}

Recording::~Recording()
{
    --recordingsRunning;
}

} // namespace ThreadBudget
