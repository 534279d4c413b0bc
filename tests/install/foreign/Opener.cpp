#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <cstdlib>
#include <dlfcn.h>
#include <iostream>
#include <memory>
#include <string>

namespace {

void* library = nullptr;

/** A member function of the library, as the function that it is to the linker. */
template <typename Function>
Function* function(const char* symbol)
{
    void* const address = dlsym(library, symbol);
    if (address == nullptr) {
        std::cerr << dlerror() << '\n';
        std::exit(1);
    }
    return reinterpret_cast<Function*>(address);
}

} // namespace

/** Usage: opener LIBRARY. Uses the library without being linked to it. */
int main(int argc, char** argv)
{
    library = dlopen(argc > 1 ? argv[1] : "", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::cerr << dlerror() << '\n';
        return 1;
    }
    const auto construct = function<void(Translation*)>("_ZN11TranslationC1Ev");
    const auto destroy = function<void(Translation*)>("_ZN11TranslationD1Ev");
    const auto displayTranslator = function<TranslatorProxy*(Translation*)>(
        "_ZN11Translation39getPreferredBrailleTranslatorForDisplayEv");
    const auto identifier =
        function<std::string(const TranslatorProxy*)>("_ZNK15TranslatorProxy5getIDB5cxx11Ev");
    const auto changeProfile = function<void(Translation*, std::string&)>(
        "_ZN11Translation21changeLanguageProfileERNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEE");

    alignas(Translation) unsigned char memory[sizeof(Translation)];
    auto* const translation = reinterpret_cast<Translation*>(memory);
    construct(translation);
    std::cout << "Translates with " << identifier(displayTranslator(translation)) << ".\n";
    std::string profile = "a language of nowhere";
    changeProfile(translation, profile);
    destroy(translation);
    if (dlclose(library) == 0)
        std::cout << "Closed again.\n";
}
