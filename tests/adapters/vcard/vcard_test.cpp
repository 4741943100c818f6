#include "adapters/vcard/vcard.h"

#include <gmock/gmock.h>

#include <chrono>
#include <sstream>

#include "adapters/vcard/ascii.h"

namespace quillfold {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using P = CNContactProperties;

struct Parsed {
  std::vector<P> contacts;
  std::vector<VCardProblem> problems;
};

Parsed parse(std::string_view bytes) {
  Parsed parsed;
  parseVCards(
      bytes, [&](VCard card) { parsed.contacts.push_back(std::move(card.contact)); },
      [&](VCardProblem problem) { parsed.problems.push_back(std::move(problem)); });
  return parsed;
}

std::string card(std::string_view version, const std::string& lines) {
  return "BEGIN:VCARD\r\nVERSION:" + std::string(version) + "\r\nFN:x\r\n" + lines +
         "\r\nEND:VCARD\r\n";
}

P contact(std::string_view version, const std::string& lines) {
  const Parsed parsed = parse(card(version, lines));
  EXPECT_THAT(parsed.problems, IsEmpty()) << lines;
  EXPECT_THAT(parsed.contacts, SizeIs(1)) << lines;
  return parsed.contacts.empty() ? P() : parsed.contacts.front();
}

std::string shown(const std::optional<std::string>& text) {
  return text.value_or("-");
}

// Every entry of every list as "label=value".
std::vector<std::string> entries(const P& p) {
  std::vector<std::string> all;
  for (const auto& e : p.phoneNumbers)
    all.push_back(shown(e.label) + "=" + e.value.stringValue);
  for (const auto* texts : {&p.emailAddresses, &p.urlAddresses})
    for (const auto& e : *texts)
      all.push_back(shown(e.label) + "=" + e.value);
  for (const auto& e : p.contactRelations)
    all.push_back(shown(e.label) + "=" + e.value.name);
  for (const auto& e : p.instantMessageAddresses)
    all.push_back(shown(e.label) + "=" + e.value.service + "/" + e.value.username);
  for (const auto& e : p.socialProfiles) {
    all.push_back(shown(e.label) + "=" + shown(e.value.service) + "/" + shown(e.value.username) +
                  "/" + shown(e.value.urlString));
  }
  for (const auto& e : p.postalAddresses) {
    const CNPostalAddress& a = e.value;
    all.push_back(shown(e.label) + "=" + a.street + "|" + a.city + "|" + a.state + "|" +
                  a.postalCode + "|" + a.country);
  }
  return all;
}

TEST(VCard, ReadsTextsOfEveryVersionAndEncoding) {
  struct Case {
    const char* version;
    std::string lines;
    std::string P::*member;
    std::string expected;
  };
  const std::string accents = "Zo\xC3\xAB \xE2\x9C\x93";
  const Case cases[] = {
      // Escapes are resolved once, and only those that there are.
      {"3.0", "NOTE:a\\nb\\Nc\\,d\\;e\\\\nf;g,h\\:i\\x\\", &P::note, "a\nb\nc,d;e\\nf;g,h:i\\x\\"},
      {"4.0", "NOTE:  two ends  ", &P::note, "  two ends  "},
      {"3.0", "NOTE:one\r\nNOTE:two", &P::note, "one\ntwo"},
      // Folds: within a character, at a blank line's blanks, in the header, by a tab.
      {"3.0", "NOTE:Zo\xC3\r\n \xAB \xE2\r\n \x9C\r\n\t\x93", &P::note, accents},
      {"4.0", "NOTE:a\r\n  \r\n b", &P::note, "a b"},
      {"4.0", "NO\r\n TE;LANGUA\r\n GE=en:folded", &P::note, "folded"},
      {"2.1", "NOTE:two\r\n words and Zo\xC3\r\n \xAB", &P::note, "two words and Zo\xC3\xAB"},
      {"2.1", "NOTE;CHARSET=ISO-8859-1:caf\xE9\r\n bar", &P::note, "caf\xC3\xA9 bar"},
      // Quoted-printable: soft breaks with and without blanks, at the very end, before an
      // empty line; line ends; an encoded separator is text.
      {"2.1", "NOTE;ENCODING=QUOTED-PRIN\r\n TABLE;CHAR\r\n SET=UTF-8:Zo=C3=\r\n=AB=\r\n =E2=9C=93",
       &P::note, accents},
      {"2.1", "NOTE;ENCODING =\"Quoted-Printable\";CHARSET= utf-8:Zo=C3=AB", &P::note,
       "Zo\xC3\xAB"},
      {"2.1", "NOTE;QUOTED-PRINTABLE:a=0D=0Ab= \t\r\nc=\r\n=0Ad=3D==zz=", &P::note,
       "a\nbc\nd===zz"},
      {"2.1", "NOTE;ENCODING=QUOTED-PRINTABLE:a=\r\n\r\nTITLE:t", &P::jobTitle, "t"},
      {"2.1", "N;ENCODING=QUOTED-PRINTABLE:A=3BB;G=5C;H;M", &P::familyName, "A;B"},
      {"2.1", "N;ENCODING=QUOTED-PRINTABLE:A=3BB;G=5C;H;M", &P::givenName, "G;H"},
      // An encoded backslash is one where there are no escapes but that of ";".
      {"2.1", "NOTE;QUOTED-PRINTABLE:C:=5Cnew=5C=5C=5C,\\n=5C;", &P::note, "C:\\new\\\\\\,\n;"},
      {"3.0", "NOTE;ENCODING=QUOTED-PRINTABLE:a=5Cnb=5C=5C", &P::note, "a\nb\\"},
      // Charsets: declared, undeclared, unknown, wrong in one place, hidden in the header.
      {"2.1", "NOTE;CHARSET=ISO-8859-1:Zo\xEB \x80", &P::note, "Zo\xC3\xAB \xE2\x82\xAC"},
      {"2.1", "NOTE;CHARSET=ISO-8859-1;ENCODING=QUOTED-PRINTABLE:Zo=EB", &P::note, "Zo\xC3\xAB"},
      {"2.1", "NOTE;CHARSET=KOI8-R:\xE1", &P::note, "\xD0\x90"},
      {"2.1", "NOTE;CHARSET=SHIFT_JIS;ENCODING=QUOTED-PRINTABLE:=93=FA", &P::note, "\xE6\x97\xA5"},
      {"3.0", "NOTE:Zo\xEB", &P::note, "Zo\xC3\xAB"},
      {"3.0", "NOTE;CHARSET=no-such-set:Zo\xC3\xAB", &P::note, "Zo\xC3\xAB"},
      {"4.0", "NOTE:Zo\xC3\xAB\xFF", &P::note, "Zo\xC3\xAB\xEF\xBF\xBD"},
      {"4.0", std::string("NOTE:a\0x", 8), &P::note, "a\xEF\xBF\xBDx"},
      {"4.0", "NOTE;X=\"a;b:c\":shut", &P::note, "shut"},
      {"4.0", "NOTE;X=\"open:shut", &P::note, "shut"},
      // Names and companies.
      {"3.0", "N:F\\;1;G\\,2;M;P;S", &P::familyName, "F;1"},
      {"3.0", "N:F\\;1;G\\,2;M;P;S", &P::givenName, "G,2"},
      {"3.0", "N:F\\;1;G\\,2;M;P;S", &P::middleName, "M"},
      {"3.0", "N:F\\;1;G\\,2;M;P;S", &P::namePrefix, "P"},
      {"3.0", "N:F\\;1;G\\,2;M;P;S", &P::nameSuffix, "S"},
      {"3.0", "N:;;;;", &P::givenName, "x"},
      {"4.0", "N:;;;;\r\nN;ALTID=1:F\r\nN;ALTID=1:A;B", &P::givenName, ""},
      {"4.0", "ORG;ALTID=1:A\r\nORG;ALTID=1:B;C", &P::departmentName, ""},
      {"3.0", "ORG:x", &P::givenName, ""},
      {"3.0", "X-ABShowAs:COMPANY", &P::organizationName, "x"},
      {"3.0", "ORG:Acme\\; Co;Sales;East", &P::organizationName, "Acme; Co"},
      {"3.0", "ORG:Acme\\; Co;Sales;East", &P::departmentName, "Sales, East"},
      {"3.0", "item1.X-MaidenName:Born", &P::previousFamilyName, "Born"},
      {"4.0", "NICKNAME;ALTID=1:first\r\nNICKNAME;ALTID=1:second", &P::nickname, "first"},
      {"4.0", "UID:urn:uuid:1\r\nUID:2", &P::identifier, "urn:uuid:1"},
  };
  for (const Case& c : cases) {
    const Parsed parsed = parse(card(c.version, c.lines));
    ASSERT_THAT(parsed.contacts, SizeIs(1)) << c.lines;
    EXPECT_EQ(parsed.contacts[0].*c.member, c.expected) << c.version << ' ' << c.lines;
  }
}

TEST(VCard, GivesEntriesTheirLabels) {
  struct Case {
    const char* version;
    const char* lines;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"3.0",
       "TEL;type=CELL;type=VOICE;type=pref:+1 555-0100\r\nTEL;TYPE=WORK,FAX:2",
       {"_$!<Mobile>!$_=+1 555-0100", "_$!<WorkFAX>!$_=2"}},
      {"2.1",
       "TEL;HOME;VOICE:1\r\nTEL;FAX;HOME:2\r\nTEL;FAX:3\r\nTEL;PAGER:4\r\nTEL;X-Boat:5\r\nTEL;"
       "7BIT;VOICE:6",
       {"_$!<Home>!$_=1", "_$!<HomeFAX>!$_=2", "_$!<OtherFAX>!$_=3", "_$!<Pager>!$_=4", "Boat=5",
        "-=6"}},
      {"4.0",
       "TEL;VALUE=uri;PREF=1;TYPE=\"voice,home\":tel:+1-555-0100;ext=%35\r\nTEL:%35",
       {"_$!<Home>!$_=+1-555-0100;ext=5", "-=%35"}},
      {"3.0",
       "TEL;TYPE=IPHONE,CELL:1\r\nTEL;TYPE=main:2\r\nitem1.TEL;TYPE=HOME:3\r\nITEM1.X-ABLabel:_$!<"
       "Mobile>!$_",
       {"iPhone=1", "_$!<Main>!$_=2", "_$!<Mobile>!$_=3"}},
      {"3.0",
       "item2.X-ABLabel:Day\\, "
       "Night\r\nitem2.EMAIL;TYPE=INTERNET:a@example.com\r\nEMAIL:\r\nEMAIL;WORK:b@example.com",
       {"Day, Night=a@example.com", "_$!<Work>!$_=b@example.com"}},
      {"3.0",
       "item3.URL:https\\://example.com/?a=1;b\r\nitem3.X-ABLabel:_$!<HomePage>!$_",
       {"_$!<HomePage>!$_=https://example.com/?a=1;b"}},
      {"4.0",
       "RELATED;TYPE=spouse;VALUE=text:Ada: "
       "B\r\nRELATED;TYPE=friend:urn:uuid:1\r\nRELATED;VALUE=text;TYPE=muse:M",
       {"_$!<Spouse>!$_=Ada: B", "muse=M"}},
      {"3.0",
       "item4.X-ABRELATEDNAMES:Bo\r\nitem4.X-ABLabel:_$!<Mother>!$_\r\nX-EVOLUTION-MANAGER:Cy",
       {"_$!<Mother>!$_=Bo", "_$!<Manager>!$_=Cy"}},
      {"3.0",
       "IMPP;X-SERVICE-TYPE=Skype;type=HOME:skype:al%20b\r\nX-SKYPE:al "
       "b\r\nX-JABBER;type=WORK:a@example.com",
       {"_$!<Home>!$_=Skype/al b", "_$!<Work>!$_=Jabber/a@example.com"}},
      {"4.0",
       "IMPP:xmpp:a@example.com\r\nIMPP;X-SERVICE-TYPE=Matrix:@a:example.com\r\nIMPP:sip:b",
       {"-=Jabber/a@example.com", "-=Matrix/@a:example.com", "-=sip/b"}},
      {"3.0",
       "X-SOCIALPROFILE;type=twitter;x-user=\"a^^b\\c\":https://example.com/"
       "a\r\nX-SOCIALPROFILE;TYPE=pref,Mastodon:x-apple:me",
       {"-=Twitter/a^b\\c/https://example.com/a", "-=Mastodon/me/x-apple:me"}},
      {"4.0",
       "SOCIALPROFILE;SERVICE-TYPE=yelp;USERNAME=u:http://y\r\nX-SOCIALPROFILE;X-SERVICE-TYPE=z;"
       "TYPE=yelp:h\r\nIMPP;SERVICE-TYPE=qq:9",
       {"-=QQ/9", "-=Yelp/u/http://y", "-=z/-/h"}},
      {"3.0",
       "ADR;TYPE=HOME:Box 1;Flat 2;1 High St\\, East;Town;ST;123;Land;more\r\nADR:;;;;;;",
       {"_$!<Home>!$_=1 High St, East\nFlat 2\nBox 1|Town|ST|123|Land"}},
  };
  for (const Case& c : cases)
    EXPECT_EQ(entries(contact(c.version, c.lines)), c.expected) << c.lines;
}

TEST(VCard, KnowsServicesByAllTheirNames) {
  std::istringstream names(
      "X-AIM AIM X-FACEBOOK Facebook X-GADUGADU GaduGadu X-GOOGLE-TALK GoogleTalk X-GTALK "
      "GoogleTalk "
      "X-GROUPWISE GroupWise X-ICQ ICQ X-JABBER Jabber X-MATRIX Matrix X-MSN MSN X-QQ QQ X-SKYPE "
      "Skype X-SKYPE-USERNAME Skype X-TELEGRAM Telegram X-YAHOO Yahoo IMPP:aim AIM IMPP:facebook "
      "Facebook IMPP:gadugadu GaduGadu IMPP:gg GaduGadu IMPP:gtalk GoogleTalk IMPP:googletalk "
      "GoogleTalk IMPP:icq ICQ IMPP:xmpp Jabber IMPP:jabber Jabber IMPP:msn MSN IMPP:msnim MSN "
      "IMPP:qq QQ IMPP:skype Skype IMPP:ymsgr Yahoo IMPP:yahoo Yahoo ");
  for (std::string name, service; names >> name >> service;)
    EXPECT_EQ(entries(contact("3.0", name + ":u")), std::vector{"-=" + service + "/u"}) << name;
  for (const char* name : {"Facebook", "Flickr", "GameCenter", "LinkedIn", "MySpace", "SinaWeibo",
                           "TencentWeibo", "Twitter", "Yelp"}) {
    EXPECT_EQ(entries(contact("3.0", "X-SOCIALPROFILE;TYPE=" + vcard::uppercased(name) + ":h")),
              std::vector{"-=" + std::string(name) + "/-/h"});
  }
}

TEST(VCard, ReadsBirthdaysPicturesAndKinds) {
  using Day = NSDateComponents;
  const std::pair<const char*, std::optional<Day>> days[] = {
      {"BDAY:1985-12-31", Day{1985, 12, 31}},
      {"BDAY;VALUE=date:19850412T101500Z", Day{1985, 4, 12}},
      {"BDAY:--0229", Day{{}, 2, 29}},
      {"BDAY:--02-29", Day{{}, 2, 29}},
      {"BDAY:---12", Day{{}, {}, 12}},
      {"BDAY:1985-04", Day{1985, 4, {}}},
      {"BDAY;X-APPLE-OMIT-YEAR=1604:1604-04-12", Day{{}, 4, 12}},
      {"BDAY;CALSCALE=hebrew:57450112", std::nullopt},
  };
  for (const auto& [line, expected] : days)
    EXPECT_EQ(contact("4.0", line).birthday, expected) << line;
  for (const char* bad :
       {"BDAY:1985-02-29", "BDAY:1985-13-01", "BDAY:soon", "BDAY:--", "BDAY:198504123"}) {
    const Parsed parsed = parse(card("4.0", bad));
    EXPECT_THAT(parsed.problems, SizeIs(1)) << bad;
    EXPECT_EQ(parsed.contacts.at(0).birthday, std::nullopt) << bad;
  }
  const std::string ending = "\r\nTITLE:after";
  for (const auto& [version, line] : std::initializer_list<std::pair<const char*, std::string>>{
           {"2.1", "PHOTO;JPEG;ENCODING=BASE64:AAEC\r\n Av8=\r\n"},
           {"2.1", "PHOTO;BASE64;JPEG:AAEC\r\nAv8 "},
           {"3.0", "PHOTO;ENCODING=b;TYPE=JPEG:AAEC\r\n Av8="},
           {"4.0", "PHOTO:data:image/jpeg;base64,AAEC\r\n Av8="}}) {
    const P p = contact(version, line + ending);
    ASSERT_TRUE(p.imageData) << line;
    EXPECT_EQ(p.imageData->bytes(), std::string_view("\0\1\2\2\xFF", 5)) << line;
    EXPECT_EQ(p.jobTitle, "after") << line;
  }
  EXPECT_FALSE(contact("2.1", "PHOTO;ENCODING=8BIT:https://example.com/a.jpg").imageData);
  EXPECT_EQ(contact("4.0", "KIND:org").contactType, CNContactTypeOrganization);
  for (const char* line : {"KIND:group", "X-EVOLUTION-LIST:TRUE"})
    EXPECT_THAT(parse(card("4.0", line)).contacts, IsEmpty());
  EXPECT_THAT(parse(card("3.0", "X-EVOLUTION-LIST:FALSE")).contacts, SizeIs(1));
}

TEST(VCard, FindsTheCardsOfAnyText) {
  const std::string text =
      "\xEF\xBB\xBF"
      "begin:vcard\nN:One\nAGENT:\nBEGIN:VCARD\nAGENT:begin:vcard\nEND:VCARD\nTITLE:A\nEND:VCARD\n"
      "NOTE:1\nend:vcard \n"
      "junk\nmore junk\n"
      "BEGIN:VCARD\rN:Lost\rBEGIN:VCARD\rN:Two\rno property\rEND:VCARD\r"
      "BEGIN:VCARD\r\nEND:VCARD\r\nBEGIN:VCARD\r\nN:Open";
  const Parsed parsed = parse(text);
  ASSERT_THAT(parsed.contacts, SizeIs(2));
  EXPECT_EQ(parsed.contacts[0].familyName + parsed.contacts[0].note, "One1");
  EXPECT_EQ(parsed.contacts[1].familyName, "Two");
  using Place = std::tuple<std::size_t, std::size_t, bool>;
  std::vector<Place> places;
  for (const VCardProblem& problem : parsed.problems)
    places.emplace_back(problem.card, problem.line, problem.cardLeftOut);
  EXPECT_THAT(places, ElementsAre(Place(0, 11, false), Place(2, 13, true), Place(3, 17, false),
                                  Place(4, 19, true), Place(5, 21, true)));

  std::string wide = "\xFF\xFE";
  for (const char c : card("3.0", "NOTE:wide"))
    wide += {c, '\0'};
  EXPECT_EQ(parse(wide).contacts.at(0).note, "wide");
  EXPECT_EQ(parse(wide.substr(2)).contacts.at(0).note, "wide");
}

TEST(VCard, KeepsTheIdentifierOfACardWithoutOne) {
  const P before = contact("3.0", "N:A;B;;;\r\nTEL:1");
  EXPECT_FALSE(before.identifier.empty());
  EXPECT_EQ(contact("4.0", "N:A;B\r\nTEL:2").identifier, before.identifier);
  EXPECT_NE(contact("3.0", "N:A;C;;;\r\nTEL:1").identifier, before.identifier);
  const auto nameless = [](const std::string& lines) {
    return parse("BEGIN:VCARD\n" + lines + "\nEND:VCARD").contacts.at(0).identifier;
  };
  EXPECT_EQ(nameless("NOTE:a;b"), nameless("NOTE:a\\;b"));
  // Without names it is that of all that was read, however it is written, for good.
  for (const char* lines :
       {"item1.NOTE;X-A=\"^n\":a\\:b;c\\,d\\n\\x\nTEL;TYPE=home,\"work\";PREF=1:1",
        "VERSION:2.1\nitem1.note;x-a=^n;charset=utf-8;quoted-printable:a=3A=\nb=3Bc\\,d=0A=5Cx\n"
        "REV:2\nTEL;home;work;PREF=1:1"}) {
    EXPECT_EQ(nameless(lines), "vcard-b49b4619daca71bc");
  }
}

TEST(VCard, IsBoundedOnHostileText) {
  const auto many = [](std::size_t count, std::string_view text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
      all += text;
    return all;
  };
  const std::size_t large = 1 << 20;
  std::string messengers;
  for (int i = 0; i < 50000; ++i)
    messengers += "IMPP:a:" + std::to_string(i) + '\n';
  const std::string texts[] = {
      card("3.0", "NOTE:" + std::string(large, ';')),
      card("3.0", "N:" + std::string(large, ';')),
      card("3.0", "TEL" + many(large / 4, ";a=b") + ":1"),
      card("3.0", "TEL;TYPE=" + many(large / 2, "a,") + ":1"),
      card("3.0", "TEL" + std::string(large, '"') + ":1"),
      card("2.1", "NOTE;QUOTED-PRINTABLE:" + many(large / 16, "=\r\n          \t=")),
      card("3.0", "NOTE:" + many(large / 4, "\r\n a")),
      card("3.0", "NOTE;X=\"" + many(large / 4, "\r\n :")),
      many(large / 8, "AGENT:\nBEGIN:VCARD\n"),
      many(100000, "BEGIN:VCARD\nN:a\nEND:VCARD\n"),
      "BEGIN:VCARD\n" + many(100000, "TEL;TYPE=a:1\nNOTE:abcdefghij\n") + "END:VCARD",
      "BEGIN:VCARD\n" + messengers + "END:VCARD",
      card("3.0", "g.X-ABLABEL:" + std::string(large, 'a') + many(4000, "\r\ng.TEL:1")),
      std::string(large, '\0'),
      std::string("BEGIN:VCARD\nN:\0;\0\nEND:VCARD", 26),
  };
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& text : texts) {
    std::size_t size = 0;
    for (const P& p : parse(text).contacts) {
      for (const auto& phone : p.phoneNumbers)
        size += shown(phone.label).size();
    }
    EXPECT_LE(size, text.size());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace quillfold
