#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <exception>
#include <iostream>

int main()
{
    Translation translation;
    for (const char* name : {"de-g2", "de-g22"}) {
        try {
            // The program's own handle; what it borrows is the Translation's, which outlives it.
            TranslatorProxy german(name, translation.getServiceProxy());
            const auto result = german.forwardW(L"Die Kenntnis des Lesens");
            std::cout << name << " is " << german.getID() << ", grade " << german.getGrade()
                      << ", and writes " << result->getTranslatedW().size() << " cells.\n";
        } catch (const std::exception& error) {
            std::cout << error.what() << '\n'; // nothing else tells: no record is written
        }
    }
}
