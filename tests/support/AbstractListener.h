#ifndef TESTS_SUPPORT_ABSTRACTLISTENER_H
#define TESTS_SUPPORT_ABSTRACTLISTENER_H

#include <cerrno>
#include <cstddef>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

/**
 * A socket that listens at an abstract address, of which nothing is left. The kernel
 * chooses the address, so that no two collide.
 */
class AbstractListener
{
public:
    AbstractListener()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socklen_t size = sizeof(address.sun_family);
        require(bind(listener, reinterpret_cast<const sockaddr*>(&address), size) == 0, "bind");
        require(listen(listener, 1) == 0, "listen");
        size = sizeof(address);
        require(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0,
                "getsockname");
        // The first byte of an abstract name is zero and stands in no address.
        name.assign(&address.sun_path[1], size - offsetof(sockaddr_un, sun_path) - 1);
    }

    ~AbstractListener() { close(listener); }

    AbstractListener(const AbstractListener&) = delete;
    AbstractListener& operator=(const AbstractListener&) = delete;

    int socket() const { return listener; }

    std::string busAddress() const { return "unix:abstract=" + name; }

private:
    static void require(bool isTrue, const char* call)
    {
        if (!isTrue)
            throw std::system_error(errno, std::generic_category(), call);
    }

    int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string name;
};

#endif
