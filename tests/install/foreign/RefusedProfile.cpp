#include <libBrailleTranslate/Translation.h>

#include <string>

/** Fails, so that the library has something to log. */
int main()
{
    Translation translation;
    std::string profile = "a language of nowhere";
    translation.changeLanguageProfile(profile);
}
