#include <service/WorkerPool.h>

#include <service/Logging.h>

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// An everyday text takes a fraction of this. Who is at work for longer holds
// others up, and another process costs less than their waiting.
constexpr milliseconds PATIENCE{20};

} // namespace

milliseconds PoolLimits::deadlineFor(std::size_t length) const
{
    const auto allowance = deadlinePerCodePoint * length;
    return std::min(deadline + std::chrono::duration_cast<milliseconds>(allowance),
                    LONGEST_DEADLINE);
}

WorkerPool::WorkerPool(boost::asio::io_context& eventLoop, std::string engineProgram,
                       const PoolLimits& poolLimits)
    : loop(eventLoop),
      program(std::move(engineProgram)),
      currentLimits(poolLimits),
      patience(eventLoop)
{
    while (members.size() < currentLimits.workers)
        start();
}

WorkerPool::~WorkerPool()
{
    // What the event loop still holds of them must not outlive what they would call.
    for (const Member& member : members)
        member.worker->kill();
}

bool WorkerPool::submit(Job job)
{
    if (!queues.push(std::move(job)))
        return false;
    startMissing();
    giveWork();
    return true;
}

void WorkerPool::keepLoaded(const std::vector<std::string>& tables)
{
    tablesToKeep = tables;
    giveWork();
}

void WorkerPool::setLimits(const PoolLimits& newLimits)
{
    currentLimits = newLimits;
    startMissing();
    giveWork();
}

void WorkerPool::start()
{
    const auto member = members.emplace(members.end());
    try {
        member->worker = Worker::start(loop, program, [this, member] {
            LOG_WARN("an engine process has died");
            replace(member);
        });
    } catch (...) {
        members.erase(member);
        throw;
    }
}

void WorkerPool::startMissing()
try {
    while (members.size() < currentLimits.workers)
        start();
} catch (const std::system_error& error) {
    LOG_ERROR(error.what());
}

void WorkerPool::replace(Members::iterator member)
{
    const bool hasWorked = member->hasWorked;
    members.erase(member);
    // One that cannot even begin would only be followed by others like it. The next text tries.
    if (hasWorked)
        startMissing();
    giveWork();
}

void WorkerPool::giveWork()
{
    while (!queues.empty()) {
        if (members.empty())
            giveUp(queues.next(), Worker::Outcome::End::DIED);
        else if (idleMemberFor({}) == members.end())
            return helpOutLater();
        else
            perform(queues.next());
    }
    readAhead();
}

void WorkerPool::perform(Job job)
{
    const auto waited = std::chrono::duration_cast<milliseconds>(steady_clock::now() - job.arrival);
    const milliseconds left = PoolLimits::LONGEST_DEADLINE - waited;
    if (left <= milliseconds::zero())
        return giveUp(std::move(job), Worker::Outcome::End::TIMED_OUT);
    const auto member = idleMemberFor(job.request.table);
    const milliseconds deadline =
        std::min(left, currentLimits.deadlineFor(job.request.text.size()));
    const auto shared = std::make_shared<Job>(std::move(job));
    run(member, shared->request, deadline, [this, shared](Worker::Outcome outcome) {
        queues.finished(shared->client);
        shared->done(std::move(outcome), std::move(shared->request));
    });
}

void WorkerPool::giveUp(Job job, Worker::Outcome::End why)
{
    queues.finished(job.client);
    job.done({why, {}}, std::move(job.request));
}

void WorkerPool::readAhead()
{
    for (auto member = members.begin(); member != members.end(); ++member) {
        const auto next = std::find_if(
            tablesToKeep.begin(), tablesToKeep.end(),
            [member](const std::string& table) { return member->tables.count(table) == 0; });
        if (member->worker->isIdle() && next != tablesToKeep.end())
            run(member, {EngineRequest::Kind::LOAD_TABLE, *next, {}}, currentLimits.deadline,
                [](const Worker::Outcome&) {});
    }
}

void WorkerPool::run(Members::iterator member, const EngineRequest& request, milliseconds deadline,
                     Worker::Done done)
{
    if (request.text.size() > LONG_TEXT)
        member->tables.clear();
    else
        member->tables.insert(request.table);
    member->worker->run(request, deadline,
                        [this, member, done = std::move(done)](Worker::Outcome outcome) {
                            const bool hasAnswered = outcome.end == Worker::Outcome::End::ANSWERED;
                            member->hasWorked |= outcome.end != Worker::Outcome::End::DIED;
                            for (const std::string& message : outcome.answer.log)
                                LOG_ERROR(message);
                            if (outcome.end == Worker::Outcome::End::TIMED_OUT)
                                LOG_WARN("an engine process took too long and was ended");
                            if (outcome.end == Worker::Outcome::End::DIED)
                                LOG_WARN("an engine process has died at work");
                            done(std::move(outcome));
                            if (hasAnswered)
                                release(member);
                            else
                                replace(member);
                        });
}

void WorkerPool::release(Members::iterator member)
{
    const auto isIdle = [](const Member& other) { return other.worker->isIdle(); };
    const bool isSpare = members.size() > currentLimits.workers && queues.empty() &&
                         std::count_if(members.begin(), members.end(), isIdle) > 1;
    if (isSpare) {
        member->worker->kill();
        members.erase(member);
    }
    giveWork();
}

WorkerPool::Members::iterator WorkerPool::idleMemberFor(const std::string& table)
{
    auto idle = members.end();
    for (auto member = members.begin(); member != members.end(); ++member) {
        if (!member->worker->isIdle())
            continue;
        if (member->tables.count(table) > 0)
            return member;
        if (idle == members.end())
            idle = member;
    }
    return idle;
}

void WorkerPool::helpOutLater()
{
    if (isPatient || members.size() >= currentLimits.mostWorkers)
        return;
    isPatient = true;
    patience.expires_after(PATIENCE);
    patience.async_wait([this](const boost::system::error_code& error) {
        isPatient = false;
        if (error)
            return;
        helpOut();
        giveWork();
    });
}

void WorkerPool::helpOut()
try {
    if (!queues.empty() && idleMemberFor({}) == members.end())
        start();
} catch (const std::system_error& error) {
    LOG_ERROR(error.what());
}
