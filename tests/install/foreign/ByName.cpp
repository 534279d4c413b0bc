#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <sdbus-c++/Error.h>

#include <iostream>
#include <string>

namespace {

template <typename Exception>
bool throwsA(DBusTranslatorProxy* service)
try {
    const TranslatorProxy handle(std::string("a translator of nowhere"), service);
    return false;
} catch (const Exception&) {
    return true;
}

} // namespace

/** What the library throws arrives here as what it is. */
int main()
{
    Translation translation;
    DBusTranslatorProxy* const service = translation.getServiceProxy();
    const TranslatorProxy handle(std::string("en-ueb-g2.ctb"), service);
    std::cout << "Found " << handle.getID() << ", grade " << handle.getGrade() << ".\n";
    if (throwsA<sdbus::Error>(service) && throwsA<std::exception>(service))
        std::cout << "A name of nowhere is an exception.\n";
}
