#include <service/ClientQueues.h>

#include <algorithm>
#include <utility>

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
    Client& client = clients.at(turns.front());
    turns.pop_front();
    Job job = std::move(client.jobs.front());
    client.jobs.pop_front();
    client.length -= job.request.text.size();
    lengthOfAll -= job.request.text.size();
    client.isInWork = true;
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
    Client& client = found->second;
    lengthOfAll -= client.length;
    client.length = 0;
    client.jobs.clear();
    if (client.isInWork)
        return;
    clients.erase(found);
    turns.erase(std::find(turns.begin(), turns.end(), name));
}
