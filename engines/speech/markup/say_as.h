// What a <say-as interpret-as="..."> element says, in words of its
// language (through NumberSpeller, so spelled by ICU's rules).
//
//   characters, spell-out  "IBM4" -> "I, B, M, four": each character on its
//                          own (letters in capitals, digits as numbers,
//                          blanks left out), a comma between them
//   cardinal, number       "1,234.5" -> "one thousand two hundred thirty-four
//                          point five" (the language's way of writing
//                          numbers, or plain digits with a '.')
//   ordinal                "21st", "21.", "21" -> "twenty-first"
//   digits                 "2024" -> "two zero two four"
//   fraction               "3/4" -> "three fourths", "1 1/2" -> "one and one
//                          half" in English; elsewhere the numerator and
//                          the plural ordinal ("trois quatrièmes") where
//                          the language has plural ordinals
//   telephone              "+1 (555) 123-4567" -> "+ one, five five five,
//                          one two three, four five six seven": digits one
//                          by one, a comma between groups
//   date                   format mdy, dmy, ymd, md, dm, ym, my, d, m or y
//                          (without one: ymd for a four-digit first field,
//                          else the language's own order of a short date);
//                          numeric fields between '-', '/', '.' or blanks;
//                          said in the order and with the month names of
//                          the language's long date, the day as an ordinal
//                          where the language says it so (English; "25."),
//                          the year as a year: "12/25/2024" -> "December
//                          twenty-fifth, twenty twenty-four"
//   time                   format hms24 (the default) or hms12: "H:MM",
//                          "H:MM:SS", with "am"/"pm" (or the language's own
//                          words) after it for hms12; hours and minutes as
//                          numbers, minutes under ten with a zero before
//                          them, in the language's time pattern:
//                          "14:05" -> "fourteen zero five", "14:00" ->
//                          "fourteen" ("vierzehn Uhr"), "10:30 pm" -> "ten
//                          thirty PM"
//   currency               a currency symbol or ISO code before or after
//                          the amount: "$12.50" -> "twelve US dollars
//                          fifty", "EUR 3" -> "three euros"
// Anything else, content that is not what the value asks for, and numbers
// in a language that ICU cannot spell: say_as fails and the element is
// spoken as written.
//
// Functions of their arguments only: safe from any thread (the speller is
// the caller's own).
#ifndef TAVN_ENGINES_SPEECH_MARKUP_SAY_AS_H_
#define TAVN_ENGINES_SPEECH_MARKUP_SAY_AS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/markup/number_speller.h"

namespace tavn::speech::markup {

// One part of what the element says: `words` for the content's bytes
// [from, to), or for the whole element when `whole`.
struct SaidPart {
  std::string words;
  size_t from = 0;
  size_t to = 0;
  bool whole = false;
};

// Replaces `*out` with what the element with this content (decoded text)
// says.  False when it is to be spoken as written.  Throws std::bad_alloc
// only.
bool say_as(std::string_view interpret_as, std::string_view format, std::string_view content,
            NumberSpeller* speller, std::vector<SaidPart>* out);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_SAY_AS_H_
