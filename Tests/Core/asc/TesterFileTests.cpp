#include "Core/asc/services/TesterFile.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace quorvel;

namespace {

// "Yuki|Tanaka|yuki@a.de; 3: …" of a file's testers, problems and repeated addresses.
std::string summaryOf(const TesterFile& file) {
    std::string text;
    for (const auto& tester : file.testers)
        text += fmt::format("{}|{}|{};", tester.firstName.value_or("-"), tester.lastName.value_or("-"),
                            tester.email);
    for (const auto& problem : file.problems)
        text += fmt::format(" !{}: {};", problem.line, problem.text);
    for (const auto& repeated : file.repeated)
        text += fmt::format(" ={}: {};", repeated.line, repeated.text);
    return text;
}

} // namespace

TEST(TesterFile, readsWhatSpreadsheetsWrite) {
    struct Case {
        const char* name;
        std::string_view file;
        const char* summary;
    };
    using namespace std::string_view_literals;
    const Case cases[] = {
        {"no header", "Yuki,Tanaka,yuki@a.de\nMaren,,m@b.org\n", "Yuki|Tanaka|yuki@a.de;Maren|-|m@b.org;"},
        {"address first, CRLF, no end", "yuki@a.de,Yuki,Tanaka\r\nm@b.org",
         "Yuki|Tanaka|yuki@a.de;-|-|m@b.org;"},
        {"header in another order", "Last Name,E-Mail Address,Group,First Name\nTanaka,yuki@a.de,x,Yuki\n",
         "Yuki|Tanaka|yuki@a.de;"},
        {"mark, semicolons, German header",
         "\xEF\xBB\xBFVorname;Nachname;E-Mail\r\nJörg;\"Müller; Dr.\";j@a.de\r\n",
         "Jörg|Müller; Dr.|j@a.de;"},
        {"the separator named", "sep=;\nYuki;Tanaka;yuki@a.de\n", "Yuki|Tanaka|yuki@a.de;"},
        {"the separator named, old line breaks", "sep=;\rYuki;Tanaka;yuki@a.de\rbad\r",
         "Yuki|Tanaka|yuki@a.de; !3: there is no e-mail address;"},
        {"the separator named, CRLF", "sep=;\r\nYuki;Tanaka;yuki@a.de", "Yuki|Tanaka|yuki@a.de;"},
        {"only the separator named", "sep=;", ""},
        {"tabs, old line breaks", "Email\tFirst\ryuki@a.de\tYuki\r", "Yuki|-|yuki@a.de;"},
        {"quotes, a line break within", "\"Yuki \"\"Yu\"\"\",\"Ta\nnaka\",yuki@a.de\nx,y,bad\n",
         "Yuki \"Yu\"|Ta\nnaka|yuki@a.de; !3: \"bad\" is no e-mail address;"},
        {"blank lines and lines without address", "\n,,\nYuki,Tanaka,yuki@a.de\n\nA,B,\n",
         "Yuki|Tanaka|yuki@a.de; !5: there is no e-mail address;"},
        {"repeated in other case", "a,b,yuki@a.de\nc,d,Yuki@A.de\n",
         "a|b|yuki@a.de; =2: Yuki@A.de stands in line 1 already;"},
        {"nothing", "", ""},
        {"only a header", "Email\n", ""},
        {"no addresses", "Yuki,Tanaka\n",
         " !1: no column is named \"Email\", and there is no address in the line;"},
        {"an open quote", "a,b,yuki@a.de\nc,\"d,m@b.org\ne,f,g@h.de\n",
         "a|b|yuki@a.de; !2: a quotation mark is not closed;"},
        {"another encoding", "a,b,c@d.de\nJ\xF6rg,M,j@a.de\n",
         " !2: this is no text in UTF-8; save the file as CSV in UTF-8;"},
        {"wide characters",
         "\xFF\xFE"
         "a\0,\0"sv,
         " !1: the file is in UTF-16; save it as CSV in UTF-8;"},
    };
    for (const Case& one : cases)
        EXPECT_EQ(summaryOf(readTesterFile(one.file)), one.summary) << one.name;
}

TEST(TesterFile, knowsAddresses) {
    for (const char* good :
         {"a@b.de", "first.last+tag@sub.example.com", "o'neil@a-b.co.uk", "jörg@müller.de"})
        EXPECT_TRUE(isEmailAddress(good)) << good;
    for (const char* bad :
         {"", "a", "@b.de", "a@", "a@b", "a@b.", "a@.de", "a.@b.de", "a..b@c.de", "a b@c.de", "a@b@c.de",
          "<a@b.de>", "a@b.de,", "mailto:a@b.de", "a@b..de", "a\x01@b.de"})
        EXPECT_FALSE(isEmailAddress(bad)) << bad;
    EXPECT_FALSE(isEmailAddress(std::string(65, 'a') + "@b.de"));
    EXPECT_FALSE(isEmailAddress("a@" + std::string(250, 'b') + ".de"));
}
