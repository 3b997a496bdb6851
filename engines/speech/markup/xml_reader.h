// Reads a markup text with expat, hardened for text from anywhere, and
// hands its elements and character data to a handler with the byte offsets
// they come from.
//
// What is refused (ENGINE_ERR_BAD_MARKUP, with expat's reason or ours and
// the 1-based line and byte column where it was found):
//  - anything that is not well-formed XML, and invalid UTF-8: the text is
//    always read as UTF-8, whatever its declaration says;
//  - a document type declaration with an internal subset: entities could
//    be declared there, so "<!DOCTYPE speak [" stops the reading at once,
//    before a single declaration is read (entity bombs, SYSTEM entities);
//    a document type without an internal subset is accepted and ignored;
//  - a reference to an entity that is not declared (also where a document
//    type names an external DTD, which is never loaded);
//  - elements nested deeper than kMaxDepth (counted here: expat itself keeps
//    its open elements in a list, so no depth costs stack);
//  - a text longer than kMaxMarkupBytes.
// Only the five XML entities and character references are expanded.
// Comments, processing instructions and the XML declaration give nothing.
//
// Functions of their arguments only: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_XML_READER_H_
#define TAVN_ENGINES_SPEECH_MARKUP_XML_READER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {

// The attributes of one start tag, as expat hands them over: names and
// values alternating, ending with a null name.  Valid during the call only.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char* const* pairs) : pairs_(pairs) {}
  // The value of the attribute named `name` exactly ("xml:lang"), or
  // nullptr when the tag has none.
  const char* Find(std::string_view name) const;

 private:
  const char* const* pairs_;
};

class XmlHandler {
 public:
  virtual ~XmlHandler() = default;
  // An element opens.  `name` is its local name (a "prefix:" dropped);
  // markup bytes [begin, end) are its start tag, or the whole tag of an
  // empty element ("<break/>").
  virtual void StartElement(std::string_view name, const XmlAttributes& attributes, size_t begin,
                            size_t end) = 0;
  // The element opened last closes; [begin, end) is its end tag, empty for
  // an empty element.
  virtual void EndElement(size_t begin, size_t end) = 0;
  // Character data, decoded (UTF-8), from markup bytes [begin, end).  The
  // text is those bytes unchanged when it has their length; otherwise it is
  // one character (an entity or character reference, or a line break
  // "\r\n" read as "\n").
  virtual void Text(std::string_view text, size_t begin, size_t end) = 0;
};

// Reads `text` and calls `handler` for each element and piece of text, in
// order.  Returns 0; ENGINE_ERR_BAD_MARKUP with `*error` filled (see above);
// ENGINE_ERR_NO_MEMORY when expat or a handler (std::bad_alloc) runs out
// of memory; ENGINE_ERR_INTERNAL when a handler throws anything else.  The
// reading stops at the first failure; no exception leaves.
uint32_t read_xml(std::string_view text, XmlHandler* handler, MarkupError* error);

// The 1-based line and byte column of byte `offset` of `text`.  Lines end
// at "\n", "\r\n" or "\r", as XML reads them.
void locate(std::string_view text, size_t offset, MarkupError* error);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_XML_READER_H_
