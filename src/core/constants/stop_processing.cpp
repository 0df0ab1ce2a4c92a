#include "core/constants/stop_processing.h"

#include <atomic>

namespace sonivert {

namespace {

std::atomic<bool> stopFlag { false };

} // namespace

bool StopProcessing()
{
    return stopFlag.load();
}

void setStopProcessing(bool stop)
{
    stopFlag.store(stop);
}

} // namespace sonivert
