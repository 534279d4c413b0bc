#include <service/WorkerPool.h>

#include <service/Logging.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// An everyday text takes a fraction of this. Who is at work for longer holds
// others up, and another process costs less than their waiting.
constexpr milliseconds PATIENCE{20};

// When so many processes have died in a row, others are started only after a while.
constexpr std::size_t MANY_DEATHS = 10;
constexpr milliseconds RECOVERY{10000};

// So that a client's text that is in work is given up before one that waits behind it.
constexpr milliseconds GRACE{100};

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
      patience{boost::asio::steady_timer(eventLoop)},
      recovery{boost::asio::steady_timer(eventLoop)},
      expiry{boost::asio::steady_timer(eventLoop)}
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
    awaitOverdue();
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
    endSpare();
    giveWork();
}

void WorkerPool::start()
{
    const auto member = members.emplace(members.end());
    try {
        member->worker = Worker::start(loop, program, [this, member] {
            LOG_WARN("an engine process has died");
            ++deaths;
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
    setAlarm(recovery, steady_clock::now() + RECOVERY, &WorkerPool::recover);
}

void WorkerPool::setAlarm(Alarm& alarm, steady_clock::time_point when, void (WorkerPool::*act)())
{
    if (std::exchange(alarm.isSet, true))
        return;
    alarm.timer.expires_at(when);
    alarm.timer.async_wait([this, &alarm, act](const boost::system::error_code& error) {
        if (error)
            return;
        alarm.isSet = false;
        (this->*act)();
    });
}

void WorkerPool::recover()
{
    startMissing();
    giveWork();
}

void WorkerPool::replace(Members::iterator member)
{
    members.erase(member);
    // If none can even begin, more of them would only die over and over.
    if (deaths < MANY_DEATHS)
        startMissing();
    else
        setAlarm(recovery, steady_clock::now() + RECOVERY, &WorkerPool::recover);
    giveWork();
}

void WorkerPool::giveWork()
{
    dropDead();
    while (!queues.empty()) {
        if (members.empty())
            startMissing();
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

/** An idle process may have died a moment ago, and nobody's text is to suffer from that. */
void WorkerPool::dropDead()
{
    const auto isDead = [](const Member& member) { return member.worker->hasDiedIdle(); };
    const std::size_t before = members.size();
    members.remove_if(isDead);
    if (members.size() == before)
        return;
    LOG_WARN("an engine process has died");
    startMissing();
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
                [this, table = *next](const Worker::Outcome& outcome) {
                    // What ends one process would end them all, one after the other.
                    if (outcome.end != Worker::Outcome::End::ANSWERED)
                        tablesToKeep.erase(
                            std::remove(tablesToKeep.begin(), tablesToKeep.end(), table),
                            tablesToKeep.end());
                });
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
                            const bool hasDied = outcome.end == Worker::Outcome::End::DIED;
                            deaths = hasDied ? deaths + 1 : 0;
                            for (const std::string& message : outcome.answer.log)
                                LOG_ERROR(message);
                            if (outcome.end == Worker::Outcome::End::TIMED_OUT)
                                LOG_WARN("an engine process took too long and was ended");
                            if (hasDied)
                                LOG_WARN("an engine process has died at work");
                            done(std::move(outcome));
                            if (!hasAnswered)
                                return replace(member);
                            endSpare();
                            giveWork();
                        });
}

/** Ends idle processes that are more than there are to be, but for one that is ready. */
void WorkerPool::endSpare()
{
    const auto isIdle = [](const Member& member) { return member.worker->isIdle(); };
    while (members.size() > currentLimits.workers && queues.empty() &&
           std::count_if(members.begin(), members.end(), isIdle) > 1) {
        const auto spare = std::find_if(members.begin(), members.end(), isIdle);
        spare->worker->kill();
        members.erase(spare);
    }
}

/** Waits for texts to have waited for so long that their clients would give up soon. */
void WorkerPool::awaitOverdue()
{
    const auto oldest = expiry.isSet ? std::nullopt : queues.oldestArrival();
    if (oldest)
        setAlarm(expiry, *oldest + PoolLimits::LONGEST_DEADLINE + GRACE,
                 &WorkerPool::giveUpOverdue);
}

void WorkerPool::giveUpOverdue()
{
    const auto latest = steady_clock::now() - PoolLimits::LONGEST_DEADLINE - GRACE;
    for (Job& job : queues.takeOlderThan(latest))
        job.done({Worker::Outcome::End::TIMED_OUT, {}}, std::move(job.request));
    awaitOverdue();
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
    if (members.size() < currentLimits.mostWorkers)
        setAlarm(patience, steady_clock::now() + PATIENCE, &WorkerPool::helpOut);
}

void WorkerPool::helpOut()
{
    try {
        if (!queues.empty() && idleMemberFor({}) == members.end())
            start();
    } catch (const std::system_error& error) {
        LOG_ERROR(error.what());
    }
    giveWork();
}
