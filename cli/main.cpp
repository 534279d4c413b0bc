/** brltranslate: what a braille display would show, on a terminal. */
#include "FailureReport.h"
#include "Utf8.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

enum Status : int
{
    ALL_TRANSLATED = 0,
    NOT_TRANSLATED = 1, ///< something could not be translated or written
    WRONG_USE = 2,
    NO_SERVICE = 3
};

// A longer message would make the bus close the connection.
constexpr std::size_t LONGEST_TEXT = 8000000;

struct Options
{
    std::vector<std::string> words;
    std::optional<std::string> translator;
};

int complain(const std::string& message, Status status)
{
    std::cerr << "brltranslate: " << message << '\n';
    return status;
}

int complainOfMalformed(const std::string& what, std::size_t offset, Status status)
{
    return complain(what + ": malformed UTF-8 at byte offset " + std::to_string(offset), status);
}

int complain(const ServiceFailure& failure)
{
    if (failure.isUnknownTranslator())
        return complain(failure.message, WRONG_USE);
    if (failure.isAnswer())
        return complain(failure.message, NOT_TRANSLATED);
    return complain("the Translator service cannot be reached: " + failure.message, NO_SERVICE);
}

void print(const BrlTranslationResult& result)
{
    std::cout << "source   " << encodeUtf8(result.getUntranslatedW()) << '\n'
              << "braille  " << encodeUtf8(result.getTranslatedW()) << '\n'
              << "map     ";
    for (const int position : result.getPosMap())
        std::cout << ' ' << position;
    std::cout << '\n';
}

/** Translates and prints one text; where says which one, for people. */
int translateText(TranslatorProxy& translator, const std::string& bytes, const std::string& where)
{
    const DecodedText decoded = decodeUtf8(bytes);
    if (decoded.malformedAt)
        return complainOfMalformed(where, *decoded.malformedAt, NOT_TRANSLATED);
    if (decoded.text.size() > LONGEST_TEXT)
        return complain(where + ": more than the " + std::to_string(LONGEST_TEXT) +
                            " characters that the bus carries at once",
                        NOT_TRANSLATED);
    const std::shared_ptr<BrlTranslationResult> result = translator.forwardW(decoded.text);
    if (const auto failure = takeFailure())
        return complain(*failure);
    print(*result);
    return ALL_TRANSLATED;
}

/** Every line is tried unless the service is gone. The worst status counts. */
int translateLines(TranslatorProxy& translator, std::istream& input)
{
    int status = ALL_TRANSLATED;
    std::string line;
    for (std::size_t number = 1; std::getline(input, line); ++number) {
        const int lineStatus = translateText(translator, line, "line " + std::to_string(number));
        status = std::max(status, lineStatus);
        if (status == NO_SERVICE || !std::cout)
            break;
    }
    return status;
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

int translateAll(TranslatorProxy& translator, const Options& options)
{
    const int status = options.words.empty()
                           ? translateLines(translator, std::cin)
                           : translateText(translator, joined(options.words), "text");
    if (!std::cout.flush())
        return complain("cannot write to standard output", NOT_TRANSLATED);
    return status;
}

int withNamedTranslator(const std::string& name, const Options& options)
{
    if (const auto offset = decodeUtf8(name).malformedAt)
        return complainOfMalformed("translator", *offset, WRONG_USE);
    Translation translation;
    TranslatorProxy translator(name, translation.getServiceProxy());
    return translateAll(translator, options);
}

int withPreferredTranslator(const Options& options)
{
    Translation translation;
    TranslatorProxy* const translator = translation.getPreferredBrailleTranslatorForDisplay();
    if (translator == nullptr)
        return complain(takeFailure().value());
    return translateAll(*translator, options);
}

/** The parser's complaint in one line; it may have several. */
std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

int run(int argc, char** argv)
{
    CLI::App program("Translates print to braille and shows how the two belong together.\n"
                     "TEXT is translated as one line; without it, standard input is, line by line.",
                     "brltranslate");
    Options options;
    program.add_option("TEXT", options.words, "What to translate");
    program.add_option("-t,--translator", options.translator,
                       "Translate with this translator (name or identifier), not with the one "
                       "that is preferred for the display");
    program.set_version_flag("--version", "brltranslate " BRLTRANSLATE_VERSION);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        return program.exit(wish);
    } catch (const CLI::ParseError& error) {
        return complain(firstLine(error.what()) + "; see brltranslate --help", WRONG_USE);
    }
    if (options.words.empty() && isatty(STDIN_FILENO) != 0) {
        std::cerr << program.help();
        return WRONG_USE;
    }
    return options.translator ? withNamedTranslator(*options.translator, options)
                              : withPreferredTranslator(options);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        return complain(toFailure(error.what()));
    }
}
