#include "Complaint.h"

#include <algorithm>
#include <iostream>

namespace {

bool isControl(char byte)
{
    return (byte >= 0 && byte < ' ') || byte == 0x7F;
}

} // namespace

Status complain(const Complaint& complaint)
{
    std::string line = complaint.what();
    // Names that people give may have anything in them, and this is one line on a terminal.
    std::replace_if(line.begin(), line.end(), isControl, ' ');
    std::cerr << "brltranslate: " + line + '\n';
    return complaint.status();
}
