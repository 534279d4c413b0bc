#ifndef BENCHMARKS_ECHOSERVICE_H
#define BENCHMARKS_ECHOSERVICE_H

#include "support/FakeService.h"

#include <string>
#include <sys/types.h>

/**
 * The least that can answer a translation: a process on the bus, under the
 * Translator service's name, that reads the text as it must and replies with it
 * and with a translation that was made beforehand. What it takes, no service can
 * save.
 *
 * The process ends with this object, and with the program.
 */
class EchoService
{
public:
    /** Starts the process and waits until it has the name. Throws std::runtime_error. */
    EchoService(const std::string& busAddress, const TranslationFields& translation);
    ~EchoService();
    EchoService(const EchoService&) = delete;
    EchoService& operator=(const EchoService&) = delete;

private:
    pid_t process;
};

#endif
