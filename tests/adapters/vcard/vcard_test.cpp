#include "adapters/vcard/vcard.h"

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <chrono>
#include <sstream>

#include "adapters/vcard/ascii.h"
#include "foundation/format.h"

namespace quillfold {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using P = CNContactProperties;

struct Parsed {
  std::vector<P> contacts;
  std::vector<std::string> problems;  // "card:line reason", with "!" if the card is left out.
};

Parsed parse(std::string_view bytes) {
  Parsed parsed;
  parseVCards(
      bytes, [&](VCard card) { parsed.contacts.push_back(std::move(card.contact)); },
      [&](const VCardProblem& problem) {
        parsed.problems.push_back(fmt::format("{}:{} {}{}", problem.card, problem.line,
                                              problem.reason, problem.cardLeftOut ? "!" : ""));
      });
  return parsed;
}

std::string many(std::size_t count, std::string_view text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i)
    all += text;
  return all;
}

std::string card(std::string_view version, const std::string& lines) {
  return "BEGIN:VCARD\r\nVERSION:" + std::string(version) + "\r\n" + lines + "\r\nEND:VCARD\r\n";
}

P contact(std::string_view version, const std::string& lines) {
  const Parsed parsed = parse(card(version, lines));
  EXPECT_THAT(parsed.problems, IsEmpty()) << lines;
  EXPECT_THAT(parsed.contacts, SizeIs(1)) << lines;
  return parsed.contacts.empty() ? P() : parsed.contacts.front();
}

// A label of the platform, "_$!<Home>!$_", is shown as "<Home>".
std::string shown(const std::optional<std::string>& text) {
  const bool builtIn = text && text->starts_with("_$!<") && text->ends_with(">!$_");
  return builtIn ? text->substr(3, text->size() - 6) : text.value_or("-");
}

using Entries = std::vector<std::string>;

// Every text as "name: text", and every entry of every list as "label=value".
Entries entries(const P& p) {
  Entries all;
  std::istringstream names(
      "prefix given middle family suffix born nickname company department title note");
  for (const std::string* text : {&p.namePrefix, &p.givenName, &p.middleName, &p.familyName,
                                  &p.nameSuffix, &p.previousFamilyName, &p.nickname,
                                  &p.organizationName, &p.departmentName, &p.jobTitle, &p.note}) {
    std::string name;
    names >> name;
    if (!text->empty()) all.push_back(name + ": " + *text);
  }
  if (p.contactType == CNContactTypeOrganization) all.emplace_back("no person");
  const auto add = [&](const auto& entry, const std::string& value) {
    all.push_back(shown(entry.label) + "=" + value);
  };
  for (const auto& e : p.phoneNumbers)
    add(e, e.value.stringValue);
  for (const auto* texts : {&p.emailAddresses, &p.urlAddresses})
    for (const auto& e : *texts)
      add(e, e.value);
  for (const auto& e : p.contactRelations)
    add(e, e.value.name);
  for (const auto& e : p.instantMessageAddresses)
    add(e, e.value.service + "/" + e.value.username);
  for (const auto& [label, e] : p.socialProfiles)
    all.push_back(shown(label) + "=" + shown(e.service) + "/" + shown(e.username) + "/" +
                  shown(e.urlString));
  for (const auto& [label, a] : p.postalAddresses)
    all.push_back(shown(label) + "=" + a.street + "|" + a.city + "|" + a.state + "|" +
                  a.postalCode + "|" + a.country);
  return all;
}

void reads(const std::string& lines, const Entries& expected, std::string_view version = "4.0") {
  EXPECT_EQ(entries(contact(version, lines)), expected) << version << ' ' << lines;
}
void reads21(const std::string& lines, const Entries& expected) {
  reads(lines, expected, "2.1");
}

TEST(VCard, ReadsTextsOfEveryVersionAndEncoding) {
  const std::string accents = "note: Zo\xC3\xAB \xE2\x9C\x93";
  // Escapes are resolved once, and only those that there are.
  reads("NOTE:a\\nb\\Nc\\,d\\;e\\\\nf;g,h\\:i\\x\\", {"note: a\nb\nc,d;e\\nf;g,h:i\\x\\"});
  reads("NOTE:  two ends  ", {"note:   two ends  "});
  reads("NOTE:one\r\nNOTE:\r\nNOTE:two", {"note: one\ntwo"});
  // Folds: within a character, at empty and blank lines, in the header, by a tab.
  reads("NOTE:Zo\xC3\r\n \xAB \xE2\r\n \x9C\r\n\t\x93", {accents});
  reads("NOTE:a\r\n\r\n  \r\n b", {"note: a b"});
  reads("NO\r\n TE;LANGUA\r\n GE=en:folded", {"note: folded"});
  reads21("NOTE:two\r\n words and Zo\xC3\r\n \xAB \xE0\xA4\r\n \x85 \xF0\x9F\x98\r\n \x80",
          {"note: two words and Zo\xC3\xAB \xE0\xA4\x85 \xF0\x9F\x98\x80"});
  reads21("NOTE;CHARSET=us-ascii:caf\xE9\r\n bar", {"note: caf\xC3\xA9 bar"});
  reads21("NOTE;CHARSET=ISO-8859-1:\x80x\r\n \xA9\xC3\xA9\r\n \xA9",
          {"note: \xE2\x82\xACx \xC2\xA9\xC3\x83\xC2\xA9 \xC2\xA9"});
  // Quoted-printable: soft breaks with and without blanks, at the very end, before an
  // empty line; line ends; a fold without one; an encoded separator is text.
  reads21("NOTE;ENCODING=QUOTED-PRIN\r\n TABLE;CHAR\r\n SET=UTF-8:Zo=C3=\r\n=AB=\r\n =E2=9C=93",
          {accents});
  reads21("NOTE; ENCODING =\"Quoted-Printable\"; CHARSET= utf-8:Zo=c3=ab\r\n !",
          {"note: Zo\xC3\xAB!"});
  reads21("TITLE:one\r\n two\r\nNOTE;QUOTED-PRINTABLE:a=0D=0Ab= \t\r\nc=\r\n=0Ad=3D==4z=",
          {"title: one two", "note: a\nbc\nd===4z"});
  reads21("NOTE;ENCODING=QUOTED-PRINTABLE:a=\r\n\r\nTITLE:t", {"title: t", "note: a"});
  reads21("N;QUOTED-PRINTABLE:A\\=3BB\\\\=3BC;G=5C;H", {"given: G;H", "family: A;B\\;C"});
  reads21("ORG;QUOTED-PRINTABLE:Co=3B;Sales;East", {"company: Co;", "department: Sales, East"});
  // An encoded backslash is one where there are no escapes but that of ";".
  reads21("NOTE;\"QUOTED-PRINTABLE\":=5Cnew=5C=5C=5C,\\n=5C;", {"note: \\new\\\\\\,\n;"});
  reads("NOTE;ENCODING=QUOTED-PRINTABLE:a=5Cnb=5C=5C", {"note: a\nb\\"});
  // Charsets: declared, undeclared, unknown, wrong in one place, hidden in the header.
  reads21("NOTE;CHARSET=Latin1;QUOTED-PRINTABLE:Zo=EB=80", {"note: Zo\xC3\xAB\xE2\x82\xAC"});
  reads21("NOTE; CHARSET = KOI8-R :\xE1", {"note: \xD0\x90"});
  reads21("NOTE;CHARSET=SHIFT_JIS;QUOTED-PRINTABLE:=93=FA", {"note: \xE6\x97\xA5"});
  // Its first character ends in the byte of a backslash.
  reads21("NOTE;CHARSET=BIG5;QUOTED-PRINTABLE:=B3=5C=5Cn", {"note: \xE8\xA8\xB1\n"});
  reads("NOTE:Zo\xEB", {"note: Zo\xC3\xAB"});
  reads("NOTE;CHARSET=no-such-set:Zo\xEB", {"note: Zo\xEF\xBF\xBD"});
  for (const std::string text : {"\xC3\xAB", "\xE0\xA4\x85", "\xF0\x9F\x98\x80"})
    reads("NOTE:" + text + "\xFF", {"note: " + text + "\xEF\xBF\xBD"});
  reads(std::string("NOTE:a\0x", 8), {"note: a\xEF\xBF\xBDx"});
  reads("NOTE;X=\"open:shut", {"note: shut"});
  // Names and companies.
  reads("N:F\\;1;G\\,2;M;P;S\r\nFN:x",
        {"prefix: P", "given: G,2", "middle: M", "family: F;1", "suffix: S"});
  reads("FN:x\r\nN:F", {"family: F"});
  reads("FN:x\r\nN:;G", {"given: G"});
  reads("FN:x\r\nN:;;M", {"middle: M"});
  reads("FN:x\r\nN:;;;P", {"prefix: P"});
  reads("FN:x\r\nN:;;;;S", {"suffix: S"});
  reads("N:;;;;\r\nFN:x\r\nFN:y", {"given: x"});
  reads("N:;;;;\r\nN;ALTID=1:F\r\nN;ALTID=1:A;B", {"family: F"});
  reads("ORG;ALTID=1:A\r\nORG;ALTID=1:B;C", {"company: A"});
  reads("ORG:;D\r\nORG:B", {"department: D"});
  reads("ORG:x\r\nFN:x", {"company: x"});
  reads("KIND:org\r\nFN:x", {"company: x", "no person"});
  reads("X-ABShowAs:COMPANY\r\nFN:x", {"company: x", "no person"});
  reads("X-ADDRESSBOOKSERVER-KIND:org\r\nORG:o\r\nFN:x", {"company: o", "no person"});
  reads("item1.X-MaidenName:Born", {"born: Born"});
  reads("X-Maiden-Name:Born", {"born: Born"});
  reads("NICKNAME;ALTID=1:first\r\nNICKNAME;ALTID=1:second", {"nickname: first"});
}

TEST(VCard, KnowsLabelsAndServicesByAllTheirNames) {
  std::istringstream names(
      "TEL;TYPE=CELL;TYPE=VOICE;TYPE=pref <Mobile>= TEL;WORK;CELL <Mobile>= TEL;MOBILE <Mobile>= "
      "TEL;HOME;VOICE <Home>= TEL;FAX;HOME <HomeFAX>= TEL;TYPE=WORK,FAX <WorkFAX>= TEL;FAX "
      "<OtherFAX>= TEL;PAGER <Pager>= TEL;MAIN <Main>= TEL;WORK <Work>= TEL;SCHOOL <School>= "
      "TEL;OTHER <Other>= TEL;APPLEWATCH <AppleWatch>= TEL;TYPE=IPHONE,CELL iPhone= TEL;X-B B= "
      "TEL;B B= TEL;8BIT;7BIT;VOICE -= EMAIL;WORK <Work>= EMAIL;SCHOOL <School>= EMAIL;OTHER "
      "<Other>= URL;HomePage <HomePage>= URL;HOME <Home>= RELATED;TYPE=muse muse= "
      "RELATED;co-worker "
      "<Colleague>= "
      "EMAIL;PREF;VOICE;FAX;MSG;TEXT;TEXTPHONE;VIDEO;BBS;MODEM;ISDN;PCS;CAR;CELL;MOBILE;PAGER;INTL;"
      "DOM;POSTAL;PARCEL;INTERNET;X400;AOL;CIS;EWORLD;APPLELINK;ATTMAIL;IBMMAIL;MCIMAIL;PRODIGY;"
      "TLX;POWERSHARE -= "
      "X-AIM -=AIM/ X-FACEBOOK -=Facebook/ X-GADUGADU -=GaduGadu/ X-GOOGLE-TALK -=GoogleTalk/ "
      "X-GTALK -=GoogleTalk/ X-GROUPWISE -=GroupWise/ X-ICQ -=ICQ/ X-JABBER -=Jabber/ X-MATRIX "
      "-=Matrix/ X-MSN -=MSN/ X-QQ -=QQ/ X-SKYPE -=Skype/ X-SKYPE-USERNAME -=Skype/ X-TELEGRAM "
      "-=Telegram/ X-YAHOO -=Yahoo/ IMPP:aim -=AIM/ IMPP:facebook -=Facebook/ IMPP:gadugadu "
      "-=GaduGadu/ IMPP:gg -=GaduGadu/ IMPP:gtalk -=GoogleTalk/ IMPP:googletalk -=GoogleTalk/ "
      "IMPP:icq -=ICQ/ IMPP:xmpp -=Jabber/ IMPP:jabber -=Jabber/ IMPP:msn -=MSN/ IMPP:msnim -=MSN/ "
      "IMPP:qq -=QQ/ IMPP:skype -=Skype/ IMPP:ymsgr -=Yahoo/ IMPP:yahoo -=Yahoo/ IMPP:x-y+z "
      "-=x-y+z/ ");
  for (std::string property, start; names >> property >> start;)
    reads21(property + ":u", {start + "u"});
  for (const std::string service : {"Facebook", "Flickr", "GameCenter", "LinkedIn", "MySpace",
                                    "SinaWeibo", "TencentWeibo", "Twitter", "Yelp", "OWN"})
    reads("X-SOCIALPROFILE;TYPE=home,work,school,other,pref," + vcard::uppercased(service) + ":h",
          {"-=" + service + "/-/h"});
  for (const std::string relation :
       {"Spouse", "Partner", "Father", "Mother", "Parent", "Brother", "Sister", "Sibling", "Son",
        "Daughter", "Child", "Friend", "Assistant", "Manager", "Colleague", "Other"})
    reads("RELATED;TYPE=" + vcard::uppercased(relation) + ":h", {"<" + relation + ">=h"});
  for (const std::string relation : {"Spouse", "Manager", "Assistant"})
    reads("X-" + relation + ":h\nX-Evolution-" + relation + ":i",
          {"<" + relation + ">=h", "<" + relation + ">=i"});
}

TEST(VCard, GivesEntriesTheirLabels) {
  reads("TEL ; TYPE = WORK , FAX:+1 555-0100\nTEL:", {"<WorkFAX>=+1 555-0100"});
  reads("TEL;VALUE=uri;PREF=1;;TYPE=\"voice,home\":tel:+1-555;ext=%35\nTEL;X=\"a;home:c;home\":%35",
        {"<Home>=+1-555;ext=5", "-=%35"});
  // A group has a name, and its label is for no entry but its own.
  reads("aZ-_09.TEL;TYPE=HOME:1\nAz-_09.X-ABLabel:_$!<Mobile>!$_", {"<Mobile>=1"});
  reads("i~.TEL:1\ni~.X-ABLabel:L\nX-ABLabel:M\nTEL:2", {"-=1", "-=2"});
  reads("item2.X-ABLabel:Day\\, Night\nitem2.EMAIL;TYPE=INTERNET:a@b\nEMAIL:", {"Day, Night=a@b"});
  reads("i.URL:https\\://a/?b=1;c\ni.X-ABLabel:_$!<HomePage>!$_", {"<HomePage>=https://a/?b=1;c"});
  reads("RELATED;TYPE=spouse;VALUE=text:Ada: B\nRELATED;TYPE=friend:urn:uuid:1\nX-SPOUSE:",
        {"<Spouse>=Ada: B"});
  reads("item4.X-ABRELATEDNAMES:Bo\nitem4.X-ABLabel:_$!<Mother>!$_", {"<Mother>=Bo"});
  reads("IMPP;X-SERVICE-TYPE=Skype;type=HOME:skype:al%20b\nX-SKYPE:al b\nX-JABBER;type=WORK:a@b",
        {"<Home>=Skype/al b", "<Work>=Jabber/a@b"});
  reads("IMPP;X-SERVICE-TYPE=Matrix:@a:example.com\nIMPP;SERVICE-TYPE=Google Talk:me\nIMPP:sip:",
        {"-=Matrix/@a:example.com", "-=GoogleTalk/me"});
  reads(
      "X-SOCIALPROFILE;type=twitter;x-user=\"^'a^^b\\c^n\":https://example.com/a\nX-SOCIALPROFILE;"
      "TYPE=pref,Mastodon:x-apple:me\nX-SOCIALPROFILE;TYPE=twitter:",
      {"-=Twitter/\"a^b\\c\n/https://example.com/a", "-=Mastodon/me/x-apple:me"});
  reads(
      "SOCIALPROFILE;SERVICE-TYPE=yelp;USERNAME=u:y\nX-SOCIALPROFILE;X-SERVICE-TYPE=z;TYPE=yelp:h",
      {"-=Yelp/u/y", "-=z/-/h"});
  reads("ADR;HOME:Box 1;Flat 2;1 High St\\, East;Town;ST;123;Land;more\nADR:;;;;;;\nADR:;;a\\,b",
        {"<Home>=1 High St, East\nFlat 2\nBox 1|Town|ST|123|Land", "-=a,b||||"});
}

TEST(VCard, ReadsBirthdaysPicturesAndKinds) {
  const std::string ending = "\r\nTITLE:after";
  using Day = NSDateComponents;
  const std::pair<const char*, std::optional<Day>> days[] = {
      {"BDAY:1985-12-31", Day{1985, 12, 31}},
      {"BDAY: 1985-4-1 10:15", Day{1985, 4, 1}},
      {"BDAY;VALUE=date:19850412t101500Z", Day{1985, 4, 12}},
      {"BDAY:--02-29", Day{{}, 2, 29}},
      {"BDAY:---31", Day{{}, {}, 31}},
      {"BDAY:0000-04-12", Day{{}, 4, 12}},
      {"BDAY;X-APPLE-OMIT-YEAR=1604:1604-04-12", Day{{}, 4, 12}},
      {"BDAY;CALSCALE=hebrew:57450112", std::nullopt},
      {"BDAY:\r\nBDAY;CALSCALE=Gregorian:1985-04T00\r\nBDAY:1990", Day{1985, 4, {}}},
  };
  for (const auto& [line, expected] : days)
    EXPECT_EQ(contact("4.0", line + ending).birthday, expected) << line;
  const std::string start = many(6, "AAEC"), bytes = many(6, {"\0\1\2", 3}) + "\xFB\xFF\xFE";
  for (const auto& [version, line] : std::initializer_list<std::pair<const char*, std::string>>{
           {"2.1", "PHOTO;JPEG;ENCODING=BASE64:" + start + "\r\n +//+\r\n"},
           {"2.1", "PHOTO;BASE64;JPEG:" + start + "\r\n+/8=\r\n/g== "},
           {"3.0", "PHOTO;ENCODING=b;TYPE=JPEG:AAEC AAECA AECAA EC\\nAAE CAAEC\r\n +/8=/g"},
           {"4.0", "PHOTO:data:image/jpeg;base64," + start + "\r\n +/8=/g=="}}) {
    const P p = contact(version, line + ending);
    EXPECT_TRUE(p.imageData == Data(bytes) && p.thumbnailImageData == Data(bytes)) << line;
    EXPECT_EQ(p.jobTitle, "after") << line;
  }
  for (const char* elsewhere : {"PHOTO;ENCODING=8BIT:https://example.com/a.jpg",
                                "PHOTO:data:image/jpeg;base64", "PHOTO:data:,AAEC"})
    EXPECT_FALSE(contact("2.1", elsewhere + ending).imageData) << elsewhere;
  for (const std::string bad :
       {"BDAY:1985-02-29", "BDAY:1985-13-01", "BDAY:soon", "BDAY:--", "BDAY:198504012",
        "BDAY:-04-12", "PHOTO;ENCODING=b:AAEC!", "PHOTO;ENCODING=b:"}) {
    const Parsed parsed = parse(card("4.0", bad + ending));
    const std::string what = bad[0] == 'B' ? "birthday is no date" : "picture is no base64";
    EXPECT_THAT(parsed.problems, ElementsAre("1:1 a " + what + " and is left out")) << bad;
    EXPECT_FALSE(parsed.contacts.at(0).birthday || parsed.contacts[0].imageData) << bad;
  }
  for (const char* line : {"KIND:group", "X-EVOLUTION-LIST:TRUE"})
    EXPECT_THAT(parse(card("4.0", line + ending)).contacts, IsEmpty()) << line;
  reads("X-EVOLUTION-LIST:FALSE" + ending, {"title: after"});
}

TEST(VCard, FindsTheCardsOfAnyText) {
  const Parsed parsed = parse(
      "\xEF\xBB\xBF"
      "junk\nmore junk\nbegin : vcard\nN:One\nIMPP;WORK;X-SERVICE-TYPE=qq:1\nAGENT:Fred\n"
      "BEGIN:CARDS\nBEGUN:VCARD\nitem1.AGENT:\n\nBEGIN:VCARD\nAGENT:begin:vcard\nEND:VCARD\n"
      "TITLE:A\nEND:VCARD\nX-PROPERTY-OF-NO-USE-AT-ALL:1\nNOTE:BEGIN:VCARD\nend:vcard \n"
      "junk\n\nend:vcard\n"
      "BEGIN:VCARD\rN:\rBEGIN:VCARD\rN:Two\rIMPP:aim:2\rno property\rEND:VCARD\r"
      "BEGIN:VCARD\r\nEND:VCARD\r\nBEGIN:VCARD\r\nN:Open");
  ASSERT_THAT(parsed.contacts, SizeIs(2));
  EXPECT_THAT(entries(parsed.contacts[0]),
              ElementsAre("family: One", "note: BEGIN:VCARD", "<Work>=QQ/1"));
  EXPECT_THAT(entries(parsed.contacts[1]), ElementsAre("family: Two", "-=AIM/2"));
  EXPECT_THAT(parsed.problems, ElementsAre("0:1 text outside of a card is left out",
                                           "0:19 text outside of a card is left out",
                                           "2:22 the card has no END:VCARD and is left out!",
                                           "3:27 the line is no property and is left out",
                                           "4:29 the card holds nothing and is left out!",
                                           "5:31 the card has no END:VCARD and is left out!"));
  for (const std::string text :
       {"BEGIN:VCARD\nNOTE:wide\nEND:VCARD", "begin:vcard\nNOTE:wide\nend:vcard"}) {
    std::string little, big;
    for (const char c : text) {
      little += {c, '\0'};
      big += {'\0', c};
    }
    for (const std::string& wide : {little, big, "\xFF\xFE" + little, "\xFE\xFF" + big}) {
      const Parsed read = parse(wide);
      EXPECT_THAT(read.problems, IsEmpty());
      EXPECT_EQ(entries(read.contacts.at(0)), Entries{"note: wide"});
    }
  }
}

TEST(VCard, KeepsTheIdentifierOfACardWithoutOne) {
  EXPECT_EQ(contact("4.0", "UID:urn:uuid:1\r\nUID:2\r\nFN:x").identifier, "urn:uuid:1");
  for (const char* lines : {"N:A;B;;;\r\nTEL:1", "N:A;B\r\nTEL:2"}) {
    EXPECT_EQ(contact("3.0", lines).identifier, "vcard-e4b8583efc5672729033bb621921f7ed");
  }
  const auto nameless = [](const std::string& lines) {
    return parse("BEGIN:VCARD\n" + lines + "\nEND:VCARD").contacts.at(0).identifier;
  };
  // Without names it is that of all that was read, however it is written, for good.
  const std::string ending = "PREF=1:1\nADR:;;a;b\\;c\nTITLE:t;u\nPHOTO;";
  for (const std::string& lines :
       {"item1.NOTE;X-AZ=\"^n\":a\\:b;c\\,d\\n\\x\nTEL;TYPE=home,\"work\";" + ending +
            "ENCODING=b:AA==",
        "VERSION:2.1\nitem1.note;b@d=1;x-az=^n;charset=utf-8;quoted-printable:a=3A=\nb=3Bc\\,d=0A"
        "=5Cx\nREV:2\nTEL;home;work;" +
            ending + "BASE64:AA=="}) {
    EXPECT_EQ(nameless(lines), "vcard-fb842ffe699b49ee");
  }
}

TEST(VCard, IsBoundedOnHostileText) {
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
      std::string(large, '\0'),
      std::string("BEGIN:VCARD\nN:\0;\0\nEND:VCARD", 26),
  };
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& text : texts)
    parse(text);
  // As much as there may be of anything, and one more.
  const auto lines = [&](std::size_t count, std::string_view line) {
    return parse("BEGIN:VCARD\n" + many(count, line) + "END:VCARD");
  };
  EXPECT_THAT(lines(5000, "TEL:1\n").contacts.at(0).phoneNumbers, SizeIs(5000));
  EXPECT_THAT(lines(5001, "TEL:1\n").problems,
              ElementsAre("1:1 the card has too many properties and is left out!"));
  EXPECT_THAT(lines(400000, "X:\n").problems,
              ElementsAre("1:1 the card holds nothing and is left out!"));
  EXPECT_THAT(lines(400001, "X:\n").problems,
              ElementsAre("1:1 the card has too many lines and is left out!"));
  const std::string label(1000, 'a');
  reads("g.TEL:1\ng.X-ABLABEL:" + label, {label + "=1"});
  EXPECT_THAT(parse(card("3.0", "g.TEL:1\r\ng.X-ABLABEL:a" + label)).problems,
              ElementsAre("1:1 a label is too long and is left out"));
  constexpr std::size_t kTooLarge = std::size_t{1} << 31;
  // Costs nothing as long as nobody reads it.
  void* const unread =
      mmap(nullptr, kTooLarge, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(unread, MAP_FAILED);
  EXPECT_THAT(parse({static_cast<const char*>(unread), kTooLarge}).problems,
              ElementsAre("0:1 a text of more than 2 GB is left out"));
  munmap(unread, kTooLarge);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace quillfold
