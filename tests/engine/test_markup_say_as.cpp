// What say-as elements say, spelled by ICU in English, German and French,
// and what is spoken as written.
#include <gtest/gtest.h>

#include <string>

#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/number_speller.h"

namespace tavn::speech::markup {
namespace {

// The words of <speak><say-as ...>content</say-as></speak> read with the
// connection language `language`.
std::string said(const char* language, const char* interpret_as, const char* format, const char* content) {
  std::string text = std::string("<speak><say-as interpret-as=\"") + interpret_as + "\"";
  if (*format != '\0') text += std::string(" format=\"") + format + "\"";
  text += std::string(">") + content + "</say-as></speak>";
  MarkupDocument doc;
  MarkupError error;
  if (read_markup(text, language, &doc, &error) != 0) return "error: " + error.reason;
  std::string words;
  for (const MarkupSentence& s : doc.sentences) {
    for (const Segment& g : s.segments) words += (words.empty() ? "" : " | ") + g.text;
  }
  return words;
}

TEST(MarkupSayAs, SaysEachValueInTheLanguageInForce) {
  const struct {
    const char *language, *interpret_as, *format, *content, *words;
  } cases[] = {
      {"en-us", "characters", "", "IBM 4u", "I, B, M, four, U"},
      {"en-us", "spell-out", "", "a&amp;b", "A, &, B"},
      {"en-us", "cardinal", "", "1,234.5", "one thousand two hundred thirty-four point five"},
      {"en-us", "number", "", "-42", "minus forty-two"},
      {"en-us", "ordinal", "", "21st", "twenty-first"},
      {"en-us", "digits", "", "2024", "two zero two four"},
      {"en-us", "fraction", "", "3/4", "three fourths"},
      {"en-us", "fraction", "", "1 1/2", "one and one half"},
      {"en-us", "telephone", "", "+1 (555) 123-4567", "+ one, five five five, one two three, four five six seven"},
      {"en-us", "date", "mdy", "12/25/2024", "December twenty-fifth, twenty twenty-four"},
      {"en-us", "date", "", "2024-02-29", "February twenty-ninth, twenty twenty-four"},
      {"en-us", "date", "", "7/4/1999", "July fourth, nineteen ninety-nine"},  // a US short date: mdy
      {"en-us", "date", "dm", "3.1", "January third"},
      {"en-us", "date", "my", "05/1999", "May nineteen ninety-nine"},
      {"en-us", "date", "y", "1066", "ten sixty-six"},
      {"en-us", "date", "ym", "2024-12", "December twenty twenty-four"},
      {"en-us", "time", "hms24", "14:05", "fourteen zero five"},
      {"en-us", "time", "", "09:30:15", "nine thirty fifteen"},
      {"en-us", "time", "", "14:05:09", "fourteen zero five zero nine"},
      {"en-us", "time", "hms12", "10:30 p.m.", "ten thirty PM"},
      {"en-us", "time", "", "7 AM", "seven AM"},
      {"en-us", "currency", "", "$12.50", "twelve US dollars fifty"},
      {"en-us", "currency", "", "1 EUR", "one euro"},
      {"en-us", "currency", "", "12 usd", "twelve US dollars"},
      {"en-us", "digits", "", "12a", "one two a"},
      {"en-us", "number", "", "+7", "seven"},
      {"en-us", "currency", "",
       "-\xC2\xA3"
       "3",
       "minus three British pounds"},
      {"en-us", "currency", "", "$1.999", "two US dollars"},  // cents rounded up into a dollar
      {"en-us", "currency", "",
       "\xC2\xA5"
       "100",
       "one hundred Japanese yen"},
      {"en-us", "time", "hms12", "12:00 am", "twelve AM"},
      {"de", "characters", "", "ab1", "A, B, eins"},
      {"de", "cardinal", "", "1.234,5", "eintausendzweihundertvierunddrei\xC3\x9Fig Komma f\xC3\xBCnf"},
      {"de", "cardinal", "", "1.234", "eintausendzweihundertvierunddrei\xC3\x9Fig"},
      {"de", "cardinal", "", "3.25", "drei Komma zwei f\xC3\xBCnf"},  // not German, but plain
      {"de", "ordinal", "", "3.", "dritte"},
      {"de", "digits", "", "2024", "zwei null zwei vier"},
      {"de", "telephone", "", "030 1234", "null drei null, eins zwei drei vier"},
      {"de", "date", "dmy", "24.12.2024", "vierundzwanzigste Dezember zweitausendvierundzwanzig"},
      {"de", "date", "y", "1999", "neunzehnhundertneunundneunzig"},
      {"de", "date", "my", "12.2024", "Dezember zweitausendvierundzwanzig"},
      {"de", "date", "dm", "24.12", "vierundzwanzigste Dezember"},
      {"de", "time", "", "9:05:30", "neun null f\xC3\xBCnf drei\xC3\x9Fig"},
      {"de", "cardinal", "", "3,14", "drei Komma eins vier"},
      {"de", "time", "", "14:00", "vierzehn Uhr"},
      {"de", "currency", "", "12,50 \xE2\x82\xAC", "zw\xC3\xB6lf Euro f\xC3\xBCnfzig"},
      {"de", "currency", "", "EUR 1", "ein Euro"},
      {"fr-FR", "fraction", "", "3/5", "trois cinqui\xC3\xA8mes"},
      {"fr-FR", "date", "", "25/12/2024",
       "vingt-cinq d\xC3\xA9"
       "cembre deux mille vingt-quatre"},
      // Spoken as written: not what the value asks for, or no value known.
      {"en-us", "cardinal", "", "twelve", "twelve"},
      {"en-us", "cardinal", "", "12345678901234567", "12345678901234567"},
      {"en-us", "ordinal", "", "first", "first"},
      {"en-us", "date", "mdy", "2/30/2024", "2/30/2024"},
      {"en-us", "date", "", "2023-02-29", "2023-02-29"},
      {"en-us", "date", "mdy", "12/25", "12/25"},
      {"en-us", "date", "dmy", "1.2.3.4", "1.2.3.4"},
      {"en-us", "time", "hms24", "25:00", "25:00"},
      {"en-us", "time", "hms24", "10:30 pm", "10:30 pm"},
      {"en-us", "time", "", "10", "10"},
      {"en-us", "currency", "", "12.50", "12.50"},
      {"en-us", "currency", "", "$ 5 USD", "$ 5 USD"},
      {"en-us", "currency", "", "XYZ 5", "XYZ 5"},
      {"en-us", "telephone", "",
       "555\xE2\x80\x93"
       "1234",
       "555\xE2\x80\x93"
       "1234"},  // an en dash
      {"en-us", "ordinal", "", "21stuvwxyz", "21stuvwxyz"},
      {"en-us", "fraction", "", "3/0", "3/0"},
      {"de", "fraction", "", "3/4", "3/4"},  // no words for the parts
      {"en-us", "vxml:boolean", "", "true", "true"},
      // Without spelling rules for the language, the digits stay.
      {"xx", "cardinal", "", "12", "12"},
      {"", "date", "ymd", "2024-12-25", "2024-12-25"},
      {"xx", "characters", "", "a1", "A, 1"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(said(c.language, c.interpret_as, c.format, c.content), c.words)
        << c.language << " " << c.interpret_as << " " << c.format << " " << c.content;
  }
}

TEST(MarkupSayAs, XmlLangChoosesTheLanguage) {
  MarkupDocument doc;
  MarkupError error;
  ASSERT_EQ(read_markup("<speak xml:lang=\"de-DE\">A <s xml:lang=\"fr\"><say-as interpret-as=\"cardinal\">21</say-as>"
                        "</s><s><say-as interpret-as=\"cardinal\">21</say-as></s></speak>",
                        "en-us", &doc, &error),
            0u);
  ASSERT_EQ(doc.sentences.size(), 3u);
  EXPECT_EQ(doc.sentences[1].segments[0].text, "vingt-et-un");
  EXPECT_EQ(doc.sentences[2].segments[0].text, "einundzwanzig");

  // Eight languages a text at most: say-as in a ninth is spoken as written.
  std::string text = "<speak>";
  for (const char* l : {"en", "de", "fr", "es", "it", "nl", "sv", "da", "pt"}) {
    text += std::string("<s xml:lang=\"") + l + "\"><say-as interpret-as=\"cardinal\">2</say-as></s>";
  }
  ASSERT_EQ(read_markup(text + "</speak>", "en-us", &doc, &error), 0u);
  ASSERT_EQ(doc.sentences.size(), 9u);
  EXPECT_EQ(doc.sentences[7].segments[0].text, "to");  // Danish
  EXPECT_EQ(doc.sentences[8].segments[0].text, "2");
}

// Readers at once get spellers of their own; a returned one serves the
// next reader of its language, however the language is written.
TEST(MarkupSayAs, SpellersAreLentToOneReaderAtATime) {
  NumberSpeller *a, *b;
  {
    const SpellerLease first = borrow_speller("fr-CA"), second = borrow_speller("fr_CA");
    a = first.get();
    b = second.get();
    ASSERT_NE(a, b);
    EXPECT_EQ(a->locale_name(), "fr_CA");
  }
  const SpellerLease third = borrow_speller("fr-ca"), fourth = borrow_speller("fr-CA");
  EXPECT_TRUE((third.get() == a && fourth.get() == b) || (third.get() == b && fourth.get() == a));
}

}  // namespace
}  // namespace tavn::speech::markup
