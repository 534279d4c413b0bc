#include "FaultySdbus.h"

#include <cstddef>
#include <utility>

namespace {

FaultySdbus* current = nullptr;

} // namespace

FaultySdbus::FaultySdbus()
{
    // So that it makes no allocation during a call, which a test may let fail.
    constexpr std::size_t MANY = 1000;
    events.reserve(MANY);
    timeouts.reserve(MANY);
    current = this;
}

FaultySdbus::~FaultySdbus()
{
    current = nullptr;
}

void FaultySdbus::on(const std::string& operation, std::function<void()> fault)
{
    faults[operation] = std::move(fault);
}

void FaultySdbus::meet(const char* operation)
{
    if (current == nullptr)
        return;
    const auto fault = current->faults.find(operation);
    if (fault != current->faults.end() && fault->second)
        fault->second();
}

void FaultySdbus::note(const char* event)
{
    if (current != nullptr)
        current->events.emplace_back(event);
}

void FaultySdbus::noteTimeout(uint64_t timeout)
{
    if (current != nullptr)
        current->timeouts.push_back(timeout);
}
