/**
 * Results against a plain model of them: each of the seven constructors, and
 * then one operation after the other, with all that is to be seen compared
 * after each.
 *
 * An input, in the terms of Input.h:
 *
 *   constructor   '1' to '7', as they stand in the header; '8' and nothing more
 *                 for a result without a map
 *   direction     '0' forward, '1' back, '2' and '3' others
 *   translator    '0' none, '1' and '2' two of them
 *   the constructor's texts, map, flags and positions, in its order
 *   operations, each a letter and its arguments:
 *     t number      getTranslatedPositionW
 *     o number      getOriginalPositionW
 *     a             addLeftOffset
 *     j number      the left offset, as after so many addLeftOffset
 *     s translator  setTranslator
 *     c             go on with a copy
 *     d             toString
 *   and after 't' and 'o' what the translator answers, as often as it is asked:
 *     n             no result
 *     e             an exception
 *     w             a result without a map
 *     any other     a result with the map and the left offset that follow
 */
#include "Check.h"
#include "Input.h"
#include "ResultModel.h"
#include "support/PrivateMember.h"
#include "unit/ResultWithoutAMap.h"
#include "unit/StubTranslator.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

REVEAL(offsetOf, BrlTranslationResult, leftOffset)

namespace {

/** More calls than any search makes: it halves 33 entries, once for each of them at most. */
constexpr std::size_t ENDLESS = 1000;

struct TranslationError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class ResultFuzzer
{
public:
    ResultFuzzer(const uint8_t* data, std::size_t size) : input(data, size)
    {
        stub.answer([this](const StubCall&) { return answer(); });
        construct();
    }

    void run()
    {
        compare("the constructor");
        while (!input.isUsedUp())
            step(static_cast<char>(input.byte()));
        compareDumps();
    }

private:
    void construct();
    template <typename Text>
    void constructWith(unsigned constructor, Text (Input::*readText)());
    void constructWithoutAMap();
    void step(char operation);
    const char* findDifference();
    void compare(const char* after);
    void compareDumps();
    void compareCalls();
    void lookUp(const char* what, int position, const std::function<int()>& inLibrary,
                const std::function<int64_t()>& inModel);
    std::shared_ptr<BrlTranslationResult> answer();
    TranslatorProxy* chooseTranslator();

    Input input;
    StubTranslator stub;
    TranslatorProxy other{0, "other", true, "other", nullptr};
    std::optional<BrlTranslationResult> result;
    std::optional<ResultModel> model;
    std::size_t comparedCalls = 0;
};

TranslatorProxy* ResultFuzzer::chooseTranslator()
{
    const unsigned choice = input.oneOf(3);
    if (choice == 0)
        return nullptr;
    return choice == 1 ? stub.get() : &other;
}

void ResultFuzzer::construct()
{
    const unsigned constructor = 1 + (input.byte() + 7U) % 8;
    switch (constructor) {
    case 1:
    case 2:
    case 3:
        return constructWith(constructor, &Input::bytes);
    case 8:
        return constructWithoutAMap();
    default:
        return constructWith(constructor, &Input::text);
    }
}

template <typename Text>
void ResultFuzzer::constructWith(unsigned constructor, Text (Input::*readText)())
{
    constexpr BrlTranslationResult::Direction DIRECTIONS[] = {
        BrlTranslationResult::FORWARD, BrlTranslationResult::BACK,
        static_cast<BrlTranslationResult::Direction>(2),
        static_cast<BrlTranslationResult::Direction>(-1)};
    const auto direction = DIRECTIONS[input.oneOf(4)];
    TranslatorProxy* const translator = chooseTranslator();
    const Text source = (input.*readText)();
    const Text translation = (input.*readText)();
    model.emplace(translator, direction, source, translation);
    if (constructor == 1 || constructor == 4) {
        result.emplace(translator, direction, source, translation);
    } else if (constructor == 2 || constructor == 5) {
        const std::vector<int> map = input.numbers();
        result.emplace(translator, direction, source, translation, map);
        model->replaceMap(map);
    } else if (constructor == 3 || constructor == 7) {
        const int position = input.number();
        const int translated = input.number();
        result.emplace(translator, direction, source, translation, position, translated);
        model->pin(position, translated);
    } else if constexpr (std::is_same_v<Text, std::wstring>) {
        const std::vector<int> map = input.numbers();
        const std::vector<bool> flags = input.flags();
        result.emplace(translator, direction, source, translation, map, flags);
        model->replaceMap(map, flags);
    }
}

void ResultFuzzer::constructWithoutAMap()
{
    result.emplace(resultWithoutAMap());
    // What is left of texts that were moved away is nobody's promise.
    model.emplace(nullptr, 0, result->getUntranslatedW(), result->getTranslatedW());
    model->map.clear();
    model->known.clear();
}

/** The model gets the same answer after the library. */
std::shared_ptr<BrlTranslationResult> ResultFuzzer::answer()
{
    check(stub.calls().size() - comparedCalls < ENDLESS,
          "the library asks the translator without end");
    ModelAnswer said;
    const char kind = static_cast<char>(input.byte());
    std::shared_ptr<BrlTranslationResult> fresh;
    if (kind == 'e') {
        said.kind = ModelAnswer::EXCEPTION;
    } else if (kind == 'w') {
        said.kind = ModelAnswer::RESULT;
        fresh = std::make_shared<BrlTranslationResult>(resultWithoutAMap());
    } else if (kind != 'n') {
        said.kind = ModelAnswer::RESULT;
        // An empty list would give the default map.
        const std::vector<int> map = input.numbers();
        fresh = std::make_shared<BrlTranslationResult>(nullptr, BrlTranslationResult::FORWARD, L"",
                                                       L"abc", map);
        said.map.assign(map.begin(), map.end());
        if (map.empty())
            said.map = {0, 3};
        said.leftOffset = input.number();
        (*fresh).*offsetOf() = static_cast<int>(said.leftOffset);
    }
    model->answers.push_back(said);
    if (said.kind == ModelAnswer::EXCEPTION)
        throw TranslationError("no translation");
    return fresh;
}

void ResultFuzzer::lookUp(const char* what, int position, const std::function<int()>& inLibrary,
                          const std::function<int64_t()>& inModel)
{
    std::optional<int64_t> actual;
    std::optional<int64_t> expected;
    try {
        actual = inLibrary();
    } catch (const TranslationError&) {
    }
    try {
        expected = inModel();
    } catch (const ResultModel::TranslationThrew&) {
    }
    const auto toText = [](const std::optional<int64_t>& found) {
        return found ? std::to_string(*found) : "an exception";
    };
    if (actual != expected)
        fail(what + std::to_string(position) + ") is " + toText(actual) + " instead of " +
             toText(expected) + " of\n" + model->dump());
    check(model->answers.empty(), "the library asks the translator more often than it has to");
    compareCalls();
}

void ResultFuzzer::step(char operation)
{
    if (operation == 't') {
        const int position = input.number();
        lookUp(
            "getTranslatedPositionW(", position,
            [=] { return result->getTranslatedPositionW(position); },
            [=] { return model->translatedPosition(position); });
    } else if (operation == 'o') {
        const int position = input.number();
        lookUp(
            "getOriginalPositionW(", position,
            [=] { return result->getOriginalPositionW(position); },
            [=] { return model->originalPosition(position); });
    } else if (operation == 'a') {
        result->addLeftOffset();
        model->addLeftOffset();
    } else if (operation == 'j') {
        const int offset = input.number();
        (*result).*offsetOf() = offset;
        model->leftOffset = offset;
    } else if (operation == 's') {
        TranslatorProxy* const translator = chooseTranslator();
        result->setTranslator(translator);
        model->translator = translator;
    } else if (operation == 'c') {
        const BrlTranslationResult copy = *result;
        result.reset();
        result = copy;
    } else if (operation == 'd') {
        compareDumps();
    }
    compare(std::string(1, operation).c_str());
}

const char* ResultFuzzer::findDifference()
{
    const std::vector<int>& map = result->getPosMap();
    if (result->getIsForward() != model->isForward)
        return "getIsForward";
    if (result->getLeftOffset() != model->leftOffset)
        return "getLeftOffset";
    if (!std::equal(map.begin(), map.end(), model->map.begin(), model->map.end()))
        return "getPosMap";
    if (result->getPosMapComputed() != model->known)
        return "getPosMapComputed";
    if (result->getTranslated() != model->translated)
        return "getTranslated";
    if (result->getUntranslated() != model->untranslated)
        return "getUntranslated";
    if (result->getTranslatedW() != model->translatedW)
        return "getTranslatedW";
    if (result->getUntranslatedW() != model->untranslatedW)
        return "getUntranslatedW";
    if (result->getTranslator() != model->translator)
        return "getTranslator";
    if (result->getPosMapLength() != model->mapLength())
        return "getPosMapLength";
    return nullptr;
}

void ResultFuzzer::compare(const char* after)
{
    const char* const difference = findDifference();
    if (difference != nullptr)
        fail(std::string(difference) + " after " + after + "; it is\n" + result->toString() +
             "\ninstead of\n" + model->dump());
}

void ResultFuzzer::compareDumps()
{
    const std::string dump = result->toString();
    if (dump != model->dump())
        fail("toString:\n" + dump + "\ninstead of\n" + model->dump());
}

void ResultFuzzer::compareCalls()
{
    const auto& calls = stub.calls();
    check(calls.size() == model->calls.size(), "the number of calls to the translator");
    for (; comparedCalls < calls.size(); ++comparedCalls) {
        const StubCall& actual = calls[comparedCalls];
        const ResultModel::Call& expected = model->calls[comparedCalls];
        check(actual.translator == expected.translator && actual.isForward == expected.isForward &&
                  actual.text == expected.text && actual.cursor == expected.cursor,
              "a call to the translator");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    ResultFuzzer(data, size).run();
    return 0;
}
