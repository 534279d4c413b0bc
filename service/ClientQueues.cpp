#include <service/ClientQueues.h>

#include <algorithm>
#include <utility>

using std::chrono::steady_clock;

bool ClientQueues::push(Job&& job)
{
    const std::size_t length = job.request.text.size();
    const auto found = clients.find(job.client);
    const bool isKnown = found != clients.end();
    if (lengthOfAll + length > LENGTH_OF_ALL)
        return false;
    if (isKnown && (found->second.jobs.size() == TEXTS_OF_A_CLIENT ||
                    found->second.length + length > LENGTH_OF_A_CLIENT))
        return false;
    if (!isKnown)
        turns.push_back(job.client);
    Client& client = isKnown ? found->second : clients[job.client];
    client.length += length;
    lengthOfAll += length;
    client.jobs.push_back(std::move(job));
    return true;
}

Job ClientQueues::next()
{
    const std::string name = std::move(turns.front());
    turns.pop_front();
    clients.at(name).isInWork = true;
    return takeFirst(name);
}

Job ClientQueues::takeFirst(const std::string& name)
{
    Client& client = clients.at(name);
    Job job = std::move(client.jobs.front());
    client.jobs.pop_front();
    client.length -= job.request.text.size();
    lengthOfAll -= job.request.text.size();
    return job;
}

void ClientQueues::finished(const std::string& name)
{
    const auto found = clients.find(name);
    if (found->second.jobs.empty()) {
        clients.erase(found);
        return;
    }
    found->second.isInWork = false;
    turns.push_back(name);
}

void ClientQueues::drop(const std::string& name)
{
    const auto found = clients.find(name);
    if (found == clients.end())
        return;
    while (!found->second.jobs.empty())
        takeFirst(name);
    forgetIfIdle(name);
}

std::vector<Job> ClientQueues::takeOlderThan(steady_clock::time_point time)
{
    std::vector<Job> old;
    for (auto next = clients.begin(); next != clients.end();) {
        const auto& [key, client] = *next++; // it may be forgotten below
        const std::string name = key;
        const std::deque<Job>& jobs = client.jobs;
        while (!jobs.empty() && jobs.front().arrival < time)
            old.push_back(takeFirst(name));
        forgetIfIdle(name);
    }
    return old;
}

std::optional<steady_clock::time_point> ClientQueues::oldestArrival() const
{
    std::optional<steady_clock::time_point> oldest;
    for (const auto& [name, client] : clients) {
        if (!client.jobs.empty())
            oldest =
                std::min(oldest.value_or(client.jobs.front().arrival), client.jobs.front().arrival);
    }
    return oldest;
}

/** Where the last waiting job has been taken away. */
void ClientQueues::forgetIfIdle(const std::string& name)
{
    const Client& client = clients.at(name);
    if (!client.jobs.empty() || client.isInWork)
        return;
    clients.erase(name);
    turns.erase(std::find(turns.begin(), turns.end(), name));
}
