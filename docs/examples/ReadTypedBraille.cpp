#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <iostream>
#include <locale>
#include <string>
#include <vector>

int main()
{
    std::locale::global(std::locale("C.UTF-8")); // in which std::wcout writes braille

    Translation translation;
    TranslatorProxy* entry = translation.getPreferredBrailleTranslatorForEntry();
    if (entry == nullptr)
        return 1; // the log says why

    // What the keyboard has sent, a byte for each cell: bit 0 is dot 1.
    const std::vector<unsigned char> chords{0x2e, 0x00, 0x05, 0x00, 0x37};
    std::wstring cells;
    for (const unsigned char chord : chords)
        cells += static_cast<wchar_t>(0x2800 + chord);

    const auto result = entry->backW(cells, static_cast<int>(cells.size()));
    std::wcout << cells << L" is \"" << result->getTranslatedW() << L"\".\n"
               << L"The third cell begins at character " << result->getTranslatedPositionW(2)
               << L".\n";
}
