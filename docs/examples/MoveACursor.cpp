#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <iostream>
#include <locale>

int main()
{
    std::locale::global(std::locale("C.UTF-8")); // in which std::wcout writes braille

    Translation translation;
    TranslatorProxy* display = translation.getPreferredBrailleTranslatorForDisplay();
    if (display == nullptr)
        return 1; // the log says why

    const int cursor = 4; // on the "k"
    const auto result = display->forwardW(L"the knowledge of reading", cursor);
    std::wcout << result->getTranslatedW() << L'\n';
    for (const int character : {cursor, cursor + 1, 18})
        std::wcout << L"Character " << character << L" is in cell "
                   << result->getTranslatedPositionW(character) << L".\n";

    const int routedCell = 6; // whose key the reader has pressed
    std::wcout << L"The cursor goes to character " << result->getOriginalPositionW(routedCell)
               << L".\n";
}
