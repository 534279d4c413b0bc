#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <iostream>
#include <string>

int main()
{
    Translation translation;
    for (std::string profile : {"en-gb", "en-us", "de"}) {
        translation.changeLanguageProfile(profile);
        // Asked for again: another translator ends the handle that was lent out before.
        TranslatorProxy* display = translation.getPreferredBrailleTranslatorForDisplay();
        TranslatorProxy* computer = translation.getComputerBrailleTranslator();
        if (display == nullptr || computer == nullptr)
            return 1; // the log says why
        std::cout << profile << ": " << display->getID() << ", computer braille in "
                  << computer->getID() << '\n';
    }
}
