#include "engines/speech/markup/xml_reader.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "engines/speech/engine_codes.h"

namespace tavn::speech::markup {
namespace {

static_assert(kMaxDepth == 256, "kTooDeep names the depth");
constexpr const char* kTooDeep = "elements nested deeper than 256";

struct ParserDeleter {
  void operator()(XML_Parser p) const { XML_ParserFree(p); }
};

// The state of one reading, expat's user data.
struct Reading {
  XML_Parser parser = nullptr;
  XmlHandler* handler = nullptr;
  size_t size = 0;  // of the text
  size_t depth = 0;
  // Set when a callback stopped the parser.  (No allocation here: the
  // callbacks run inside expat, where nothing may throw.)
  uint32_t result = 0;
  const char* reason = nullptr;
  size_t offset = 0;
};

size_t event_begin(const Reading& r) {
  const XML_Index i = XML_GetCurrentByteIndex(r.parser);
  return i < 0 ? 0 : static_cast<size_t>(i);
}

size_t event_end(const Reading& r) {
  return event_begin(r) + static_cast<size_t>(XML_GetCurrentByteCount(r.parser));
}

void stop(Reading* r, uint32_t result, const char* reason) {
  if (r->result != 0) return;
  r->result = result;
  r->reason = reason;
  r->offset = event_begin(*r);
  XML_StopParser(r->parser, XML_FALSE);
}

// Runs a handler call; an exception stops the reading instead of
// unwinding through expat.
template <typename F>
void guarded(Reading* r, F&& call) {
  if (r->result != 0) return;
  try {
    call();
  } catch (const std::bad_alloc&) {
    stop(r, ENGINE_ERR_NO_MEMORY, "out of memory");
  } catch (...) {
    stop(r, ENGINE_ERR_INTERNAL, "internal error");
  }
}

void XMLCALL on_start(void* data, const XML_Char* name, const XML_Char** atts) {
  auto* r = static_cast<Reading*>(data);
  if (++r->depth > kMaxDepth) {
    stop(r, ENGINE_ERR_BAD_MARKUP, kTooDeep);
    return;
  }
  const char* colon = std::strrchr(name, ':');
  const std::string_view local = colon != nullptr ? colon + 1 : name;
  guarded(r, [&] {
    r->handler->StartElement(local, XmlAttributes(atts), event_begin(*r), event_end(*r));
  });
}

void XMLCALL on_end(void* data, const XML_Char*) {
  auto* r = static_cast<Reading*>(data);
  --r->depth;
  guarded(r, [&] { r->handler->EndElement(event_begin(*r), event_end(*r)); });
}

void XMLCALL on_text(void* data, const XML_Char* s, int len) {
  auto* r = static_cast<Reading*>(data);
  const size_t begin = event_begin(*r);
  size_t end = event_end(*r);
  // The last bytes of a text that ends inside an element ("x]") come with
  // no byte count: they are the rest of the text, as written.
  if (end == begin) end = std::min(begin + static_cast<size_t>(len), r->size);
  guarded(r, [&] { r->handler->Text(std::string_view(s, static_cast<size_t>(len)), begin, end); });
}

void XMLCALL on_doctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*,
                        int has_internal_subset) {
  if (has_internal_subset) {
    stop(static_cast<Reading*>(data), ENGINE_ERR_BAD_MARKUP,
         "document type with an internal subset (entity declarations are not accepted)");
  }
}

// Not reached while internal subsets are refused (the external one is never
// read); kept so that no entity can be declared whatever changes above.
void XMLCALL on_entity_decl(void* data, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                            const XML_Char*, const XML_Char*, const XML_Char*) {
  stop(static_cast<Reading*>(data), ENGINE_ERR_BAD_MARKUP, "entity declarations are not accepted");
}

void XMLCALL on_skipped_entity(void* data, const XML_Char*, int) {
  stop(static_cast<Reading*>(data), ENGINE_ERR_BAD_MARKUP, "undefined entity");
}

}  // namespace

const char* XmlAttributes::Find(std::string_view name) const {
  for (const char* const* p = pairs_; p != nullptr && p[0] != nullptr; p += 2) {
    if (name == p[0]) return p[1];
  }
  return nullptr;
}

void locate(std::string_view text, size_t offset, MarkupError* error) {
  if (offset > text.size()) offset = text.size();
  size_t line = 1, line_start = 0;
  for (size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n' || (text[i] == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n'))) {
      ++line;
      line_start = i + 1;
    }
  }
  error->line = line;
  error->column = offset - line_start + 1;
}

uint32_t read_xml(std::string_view text, XmlHandler* handler, MarkupError* error) {
  if (text.size() > kMaxMarkupBytes) {
    error->reason = "text longer than " + std::to_string(kMaxMarkupBytes) + " bytes";
    locate(text, kMaxMarkupBytes, error);
    return ENGINE_ERR_BAD_MARKUP;
  }
  // The encoding given here overrides the document's own declaration.
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreate("UTF-8"));
  if (!parser) return ENGINE_ERR_NO_MEMORY;
  Reading r;
  r.parser = parser.get();
  r.handler = handler;
  r.size = text.size();
  XML_SetUserData(r.parser, &r);
  XML_SetElementHandler(r.parser, on_start, on_end);
  XML_SetCharacterDataHandler(r.parser, on_text);
  XML_SetStartDoctypeDeclHandler(r.parser, on_doctype);
  XML_SetEntityDeclHandler(r.parser, on_entity_decl);
  XML_SetSkippedEntityHandler(r.parser, on_skipped_entity);
  // Parameter entities (and with them any external DTD) stay unread: expat's
  // default, never changed here.

  if (XML_Parse(r.parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK) {
    return 0;
  }
  const XML_Error code = XML_GetErrorCode(r.parser);
  if (code == XML_ERROR_NO_MEMORY) return ENGINE_ERR_NO_MEMORY;
  if (r.result == 0) {
    r.result = ENGINE_ERR_BAD_MARKUP;
    r.reason = XML_ErrorString(code);
    if (r.reason == nullptr) r.reason = "unreadable markup";
    r.offset = event_begin(r);
  }
  if (r.result != ENGINE_ERR_BAD_MARKUP) return r.result;
  error->reason = r.reason;
  locate(text, r.offset, error);
  return ENGINE_ERR_BAD_MARKUP;
}

}  // namespace tavn::speech::markup
