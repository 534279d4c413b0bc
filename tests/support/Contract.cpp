#include "Contract.h"

#include "FileContent.h"

#include <pugixml.hpp>

Methods methodsOf(const std::string& xml)
{
    pugi::xml_document document;
    document.load_string(xml.c_str());
    const auto interface =
        document.child("node").find_child_by_attribute("interface", "name", "braille.translator");
    Methods methods;
    for (const auto& method : interface.children("method")) {
        MethodSignatures& signatures = methods[method.attribute("name").value()];
        for (const auto& argument : method.children("arg")) {
            const bool isInput = std::string("in") == argument.attribute("direction").value();
            (isInput ? signatures.in : signatures.out) += argument.attribute("type").value();
        }
    }
    return methods;
}

const Methods& contract()
{
    static const Methods methods = methodsOf(contentOf(TEST_CONTRACT));
    return methods;
}
