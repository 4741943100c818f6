#!/usr/bin/env python3
"""Writes the sample address book beside this script, the same one every time.

Everyone in it is invented. Telephone numbers are from ranges that are kept for
fiction, mail goes to example domains.
"""

import base64
import pathlib
import random
import shutil

BOOK = pathlib.Path(__file__).parent / "book"
RANDOM = random.Random(7)

# Given and family names by script; each pair can be combined.
NAMES = {
    "latin": ("Zoë Søren Łucja François Jürgen Ávila Ines Ørjan Şule Matěj Bożena Aoife Noor",
              "Müller Ångström Dvořák Gonçalves Kowalczyk Ó~Brien Šimić Fernández Çelik Østby Weiß"),
    "plain": ("Alma Bruno Cora Dennis Edda Felix Greta Hugo Ida Jasper Kira Leo Mona Nils",
              "Archer Brooks Carver Dalton Ellery Fenwick Garland Hobbs Ingram Jarvis Keating"),
    "cyrillic": ("Анна Борис Вера Григорий Дарья Егор Жанна", "Лебедева Морозов Новикова Орлов Петренко"),
    "greek": ("Αθηνά Βασίλης Γεωργία Δημήτρης Ελένη", "Παπαδάκης Νικολάου Οικονόμου Καραγιάννη"),
    "arabic": ("أمل باسم جميلة داود هدى", "الحداد المصري النجار الخطيب"),
    "hebrew": ("אורי בתיה גיל דנה הדס", "לוין מזרחי פרידמן שקד"),
    "devanagari": ("अदिति भरत चेतना दीपक ईशा", "शर्मा वर्मा पाटिल जोशी"),
    "thai": ("กมล ขวัญใจ จิรา ชัยวัฒน์ ดวงดาว", "ศรีสุข ทองดี แสงจันทร์ วงศ์ใหญ่"),
    "chinese": ("小明 丽华 建国 秀英 子涵", "王 李 欧阳 陈"),
    "japanese": ("さくら 健太 美咲 大輔 陽子", "佐藤 鈴木 高橋 渡辺"),
    "korean": ("민준 서연 지호 하은 도윤", "김 이 박 남궁"),
}
STREETS = ("Harbour Lane", "Mill Road", "Lindenallee", "Rue du Port", "Via Nuova")
TOWNS = (("Northwick", "NW", "10001", "Norland"), ("Seeburg", "", "04711", "Westmark"),
         ("Port-Réal", "PR", "H0H 0H0", "Estrelle"))
COMPANIES = ("Blue Heron Ltd", "Käsewerk GmbH", "Ateliers Réunis; Fils", "北風商事", "Kite & Co, Partners")
# A grey picture of one pixel.
PICTURE = base64.b64decode(
    "R0lGODlhAQABAIAAAICAgAAAACH5BAAAAAAALAAAAAABAAEAAAICRAEAOw==")


def escape(text):
    for char in "\\;,":
        text = text.replace(char, "\\" + char)
    return text.replace("\n", "\\n")


def folded(line, width=75):
    """Cuts by bytes, as old writers do, also in the middle of a character."""
    data = line.encode()
    pieces = [data[:width]]
    for at in range(width, len(data), width - 1):
        pieces.append(b" " + data[at:at + width - 1])
    return b"\r\n".join(pieces) + b"\r\n"


def quoted_printable(text, charset):
    out, width = "", 0
    for byte in text.encode(charset):
        piece = chr(byte) if 32 < byte < 127 and byte != 61 else f"={byte:02X}"
        if width + len(piece) > 60:
            out, width = out + "=\r\n", 0
        out, width = out + piece, width + len(piece)
    return out


class Card:
    """The lines of one card in one version."""

    def __init__(self, version, uid):
        self.version, self.items = version, 0
        self.data = b"BEGIN:VCARD\r\n" + folded(f"VERSION:{version}")
        if uid:
            self.add("UID", uid)

    def add(self, header, *fields):
        text = ";".join(fields if self.version == "2.1" else map(escape, fields))
        if self.version != "2.1":
            self.data += folded(f"{header}:{text}")
        elif text.isascii() and "\n" not in text:
            self.data += f"{header}:{text}\r\n".encode()
        elif header == "NOTE" and "ISO" in self.charset(text):
            self.data += f"{header};CHARSET=ISO-8859-1:{text}\r\n".encode("latin-1")
        else:
            charset = self.charset(text)
            value = quoted_printable(text.replace("\n", "\r\n"), charset)
            self.data += f"{header};CHARSET={charset};ENCODING=QUOTED-PRINTABLE:{value}\r\n".encode()

    @staticmethod
    def charset(text):
        fits = all(ord(char) < 256 for char in text) and "\n" not in text
        return "ISO-8859-1" if fits else "UTF-8"

    def labelled(self, header, label, *fields):
        self.items += 1
        self.add(f"item{self.items}.{header}", *fields)
        self.add(f"item{self.items}.X-ABLabel", label)

    def typed(self, name, kind):
        return f"{name};{kind}" if self.version == "2.1" else f"{name};TYPE={kind}"

    def end(self):
        return self.data + b"END:VCARD\r\n"


def add_numbers(card, index):
    number = f"+1 (212) 555-01{index % 100:02d}"
    card.add(card.typed("TEL", RANDOM.choice(["CELL", "HOME", "WORK"])), number)
    if index % 4 == 0 and card.version == "4.0":
        card.add("TEL;VALUE=uri;TYPE=\"voice,work\"", f"tel:+44-20-7946-0{index % 1000:03d}")
    elif index % 4 == 0:
        card.add(card.typed("TEL", "WORK") + (";FAX" if card.version == "2.1" else ",FAX"),
                 f"01632 960{index % 1000:03d}")
    if index % 9 == 0 and card.version == "3.0":
        card.labelled("TEL", "Boat", f"(808) 555-01{(index + 7) % 100:02d}")


def add_details(card, index):
    domain = RANDOM.choice(["example.com", "example.org", "example.net"])
    card.add(card.typed("EMAIL", RANDOM.choice(["HOME", "WORK"])), f"person{index}@{domain}")
    if index % 3 == 0:
        card.add(card.typed("ADR", "HOME"), "", "", f"{index} {RANDOM.choice(STREETS)}",
                 *RANDOM.choice(TOWNS))
    if index % 5 == 0:
        card.add("ORG", RANDOM.choice(COMPANIES).replace(";", ","), "Sales")
        card.add("TITLE", "Translator")
    if index % 6 == 0:
        card.add("NOTE", f"Café, table {index}" if index % 12 else "First line\nзаметка 🎻; more")
    if index % 7 == 0:
        card.add("BDAY", f"19{50 + index % 50}-{1 + index % 12:02d}-{1 + index % 28:02d}")
    if index % 8 == 0:
        card.add("URL", f"https://www.{domain}/~person{index}")
    if index % 11 == 0:
        card.add("NICKNAME", RANDOM.choice(["Ace", "Bär", "小龙", "🦊"]))


def add_extras(card, index):
    """What version 2.1 has no form for."""
    if index % 10 == 5 and card.version == "4.0":
        card.add("BDAY", "--0229")
    elif index % 10 == 0:
        card.add("BDAY;X-APPLE-OMIT-YEAR=1604", "1604-04-12")
    if index % 13 == 0 and card.version == "3.0":
        card.add("IMPP;X-SERVICE-TYPE=Skype;TYPE=HOME", f"skype:person.{index}")
        card.labelled("X-ABRELATEDNAMES", "_$!<Spouse>!$_", "Robin Example")
    elif index % 13 == 0:
        card.add("IMPP;TYPE=work", f"xmpp:person{index}@example.org")
        card.add("RELATED;VALUE=text;TYPE=child", "Pip Example")
    if index % 17 == 0:
        card.add(f"X-SOCIALPROFILE;TYPE=mastodon;x-user=person{index}",
                 f"https://social.example.net/@person{index}")
    if index % 19 == 0:
        card.labelled("URL", "_$!<HomePage>!$_", f"https://person{index}.example.org")
        card.add("X-MAIDENNAME", "Früher")


def person(index, script, version):
    given, family = (RANDOM.choice(part.split()).replace("~", " ") for part in NAMES[script])
    card = Card(version, f"sample-{index:04d}" if index % 23 else "")
    card.add("N", family, given, "Maria" if index % 15 == 0 else "", "Dr." if index % 21 == 0 else "",
             "")
    card.add("FN", f"{given} {family}")
    add_numbers(card, index)
    add_details(card, index)
    if version != "2.1":
        add_extras(card, index)
    return card.end()


def company(index):
    card = Card("4.0" if index % 2 else "3.0", f"sample-company-{index}")
    card.add("N", "", "", "", "", "")
    card.add("FN", COMPANIES[index])
    card.add("ORG", COMPANIES[index])
    card.add("KIND" if index % 2 else "X-ABShowAs", "org" if index % 2 else "COMPANY")
    card.add("TEL;TYPE=main", f"+1 (415) 555-018{index}")
    return card.end()


def portrait():
    card = Card("3.0", "sample-portrait")
    card.add("N", "Picture", "Paula", "", "", "")
    card.add("FN", "Paula Picture")
    card.data += folded("PHOTO;ENCODING=b;TYPE=GIF:" + base64.b64encode(PICTURE).decode())
    card.add("TEL;TYPE=CELL", "+1 (212) 555-0123")
    return card.end()


def main():
    shutil.rmtree(BOOK, ignore_errors=True)
    scripts, files = list(NAMES), {}
    for index in range(1, 321):
        script = scripts[index % len(scripts)] if index % 2 else ("plain", "latin")[index // 2 % 2]
        version = ("3.0", "4.0", "3.0", "2.1")[index % 4]
        name = f"person-{index:03d}" if index <= 12 else ("home/family" if index % 3 == 0 else
                                                          "home/friends" if index % 3 == 1 else
                                                          "work/colleagues")
        files.setdefault(name, []).append(person(index, script, version))
    files["work/companies"] = [company(index) for index in range(len(COMPANIES))]
    files["home/portrait"] = [portrait()]
    # A card that was cut off: it is skipped with a line in the log.
    files["work/companies"].insert(2, b"BEGIN:VCARD\r\nVERSION:3.0\r\nN:Broken;Off;;;\r\nTEL:+1 21\r\n")
    for name, cards in files.items():
        path = BOOK / f"{name}.vcf"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"".join(cards))


if __name__ == "__main__":
    main()
