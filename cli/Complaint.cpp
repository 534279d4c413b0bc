#include "Complaint.h"

#include <iostream>

Status complain(const Complaint& complaint)
{
    std::cerr << "brltranslate: " + std::string(complaint.what()) + '\n';
    return complaint.status();
}
