#ifndef TESTS_FUZZ_BUSPEER_H
#define TESTS_FUZZ_BUSPEER_H

#include "support/AbstractListener.h"

#include <memory>
#include <string>

/** The far end of one bus connection, on which any bytes can be sent. */
class BusPeer
{
public:
    explicit BusPeer(int itsSocket) : socket(itsSocket) {}
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    /** Says in advance all that a client waits for when it connects. */
    void welcome() const;

    void send(const std::string& bytes) const;
    void sendNoMore() const;

    /** Drops what the client has sent. */
    void forgetRequests() const;

private:
    int socket;
};

/** A system bus for this process, of which the far end of each connection is a BusPeer. */
class FakeBus
{
public:
    FakeBus();

    /** Waits for the next connection, and welcomes it. */
    std::unique_ptr<BusPeer> takeConnection() const;

private:
    AbstractListener listener;
};

#endif
