#ifndef CLI_COMPLAINT_H
#define CLI_COMPLAINT_H

#include <stdexcept>
#include <string>

/** The exit status. The higher, the worse. */
enum class Status : int
{
    ALL_TRANSLATED = 0,
    NOT_TRANSLATED = 1, ///< something could not be read, translated or written
    WRONG_USE = 2,
    NO_SERVICE = 3 ///< or no bus
};

/** What a person is told, in one line, instead of a result. */
class Complaint : public std::runtime_error
{
public:
    Complaint(Status exitStatus, const std::string& text)
        : std::runtime_error(text), reason(exitStatus)
    {
    }

    Status status() const { return reason; }

private:
    Status reason;
};

/** Writes it to standard error. Returns its status. */
Status complain(const Complaint& complaint);

#endif
