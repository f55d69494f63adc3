#include "Programs/quorvel/commands/DemoEdits.h"

namespace quorvel {

std::string DemoEdit::apply(std::string_view text) const {
    std::string result(text);
    const std::size_t position = result.find(part);
    if (part.empty() || position == std::string::npos) return std::string(replacement);
    return result.replace(position, part.size(), replacement);
}

std::vector<DemoEdit> demoEdits() {
    return {
        {"en-US", FieldType::description, "see at a glance what needs water today",
         "see at a glance what needs water, light or a little patience today"},
        {"en-US", FieldType::releaseNotes, "",
         "• Moon calendar for sowing and pruning\n• Beds can be copied to the next year\n"
         "• Fixed a crash when a photo was deleted elsewhere"},
        {"de-DE", FieldType::subtitle, "Pflanzen pflegen", "Ernten feiern"},
        {"ja", FieldType::description, "庭仕事がすっきり", "庭仕事がもっと楽しく"},
        {"ja", FieldType::keywords, "日記", "園芸日記"},
        {"es-ES", FieldType::name, "", "Mosswick: el diario de tu jardín"},
    };
}

DemoEdit demoTrimming() {
    return {"es-ES", FieldType::name, "", "Mosswick: diario de tu jardín"};
}

DemoLocale demoLocale() {
    return {"bn-BD",
            {{FieldType::name, "Mosswick: বাগানের ডায়েরি"},
             {FieldType::subtitle, "বেড সাজান, গাছের যত্ন নিন"},
             {FieldType::description, "Mosswick আপনার বাগান গুছিয়ে রাখে। বেড আঁকুন, কবে কী বুনেছেন লিখে রাখুন, "
                                      "আর এক নজরে দেখুন আজ কোন গাছে জল দরকার।"},
             {FieldType::keywords, "বাগান,গাছ,সবজি,বীজ,ডায়েরি,ফসল"}}};
}

} // namespace quorvel
