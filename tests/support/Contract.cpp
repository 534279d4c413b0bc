#include "Contract.h"

#include <pugixml.hpp>
#include <stdexcept>

namespace {

std::map<std::string, MethodSignatures> readContract()
{
    pugi::xml_document document;
    if (!document.load_file(TEST_CONTRACT))
        throw std::runtime_error("cannot read " TEST_CONTRACT);
    const auto interface =
        document.child("node").find_child_by_attribute("interface", "name", "braille.translator");
    std::map<std::string, MethodSignatures> methods;
    for (const auto& method : interface.children("method")) {
        MethodSignatures& signatures = methods[method.attribute("name").value()];
        for (const auto& argument : method.children("arg")) {
            const bool isInput = std::string("in") == argument.attribute("direction").value();
            (isInput ? signatures.in : signatures.out) += argument.attribute("type").value();
        }
    }
    return methods;
}

} // namespace

const std::map<std::string, MethodSignatures>& contract()
{
    static const std::map<std::string, MethodSignatures> methods = readContract();
    return methods;
}
