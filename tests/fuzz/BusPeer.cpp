#include "BusPeer.h"

#include "Check.h"
#include "WireMessage.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

BusPeer::~BusPeer()
{
    close(socket);
}

void BusPeer::welcome() const
{
    WireMessage helloReply;
    helloReply.replySerial = 1;
    helloReply.signature = "s";
    helloReply.body = std::string("\4\0\0\0:1.1\0", 9);
    send("DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n" + helloReply.bytes());
}

void BusPeer::send(const std::string& bytes) const
{
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    check(sent == static_cast<ssize_t>(bytes.size()), "sending to the client");
}

void BusPeer::sendNoMore() const
{
    shutdown(socket, SHUT_WR);
}

void BusPeer::forgetRequests() const
{
    std::array<char, 4096> request{};
    while (recv(socket, request.data(), request.size(), MSG_DONTWAIT) > 0) {
    }
}

FakeBus::FakeBus()
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", listener.busAddress().c_str(), 1);
    // Each call is answered, so none is ever ended by this.
    setenv("SYSTEMD_BUS_TIMEOUT", "10s", 1);
}

std::unique_ptr<BusPeer> FakeBus::takeConnection() const
{
    const int connection = accept4(listener.socket(), nullptr, nullptr, SOCK_CLOEXEC);
    check(connection >= 0, "taking the library's connection");
    auto peer = std::make_unique<BusPeer>(connection);
    peer->welcome();
    return peer;
}
