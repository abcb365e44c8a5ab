// The operations of the document model that the agent uses. A failing call throws XmlError; a load that does not
// succeed and a query that finds nothing are plain results.
#pragma once

#include "BstrText.h"
#include "CheckedExpression.h"
#include "XmlError.h"

#include <msxml.h>
#include <wrl/client.h>

namespace scankelv
{

using XmlDocument = Microsoft::WRL::ComPtr<IXMLDOMDocument>;
using XmlElement = Microsoft::WRL::ComPtr<IXMLDOMElement>;
using XmlNode = Microsoft::WRL::ComPtr<IXMLDOMNode>;

/// Creates a document of class DOMDocument; the handle stays empty on failure. With a local or remote server in the
/// context the object is created for IUnknown, started, and then asked for the document interface.
HRESULT XmlCreateDocument(XmlDocument& document, DWORD classContext = CLSCTX_INPROC_SERVER);
/// For callers that can go on without a document. Creates one in process or in a local server; when that fails, once
/// more after initialising COM for the thread. Switches it to synchronous loading if possible. @return may be empty
XmlDocument XmlCreateDocumentInitialisingCom();

/// Creates a document and switches it to synchronous loading; a failure is reported to the "Agent" logger as
/// "createInstanceResult" or "putAsyncResult" with the caller's location. @return false then
bool XmlOpenDocument(XmlDocument& document, PlaceHere place = {});

/// To be called before a load: by default the document model validates a text, and fetches what it names outside
/// itself. A failure is reported to the "Agent" logger as "resolveExternalsResult" or "validateOnParseResult" with the
/// caller's location. @return whether the document may be loaded
bool XmlForbidExternals(const XmlDocument& document, PlaceHere place = {});
/// Makes the load of a text with a document type fail, if the document model can do that.
void XmlForbidDocumentType(const XmlDocument& document);
bool XmlLoadText(const XmlDocument& document, const _bstr_t& text);
/// Opens a document, forbids externals and loads a text, which is terminated. A text that does not load is reported in
/// the same way, as "loadXmlResult". @return false after a report
bool XmlOpenText(XmlDocument& document, const wchar_t* text, PlaceHere place = {});
bool XmlLoadFile(const XmlDocument& document, const _bstr_t& path);
/// @throws XmlError
void XmlSave(const XmlDocument& document, const _bstr_t& path);
_bstr_t XmlSerialise(const XmlDocument& document);

/// Appends the declaration: target "xml", version 1.0, encoding UTF-16.
void XmlAddDeclaration(const XmlDocument& document);
XmlElement XmlCreateElement(const XmlDocument& document, const _bstr_t& name);
void XmlSetAttribute(const XmlElement& element, const _bstr_t& name, const _bstr_t& value);
void XmlAppend(IXMLDOMNode* parent, IXMLDOMNode* child);

/// The first node that the XPath query finds, or an empty handle.
XmlNode XmlSelectFirst(IXMLDOMNode* node, const _bstr_t& query);
_bstr_t XmlText(IXMLDOMNode* node);

/// Element `name` with one text node, the empty text included, appended to `parent`. U+FFFD replaces each character
/// that an XML document must not contain.
void XmlAddTextElement(XmlDocument document, XmlElement parent, _bstr_t name, _bstr_t text);
/// Element `name` without content, appended to `parent`.
void XmlAddEmptyElement(XmlDocument document, XmlElement parent, _bstr_t name);
/// The text content of the first node that `name` finds below `node`, or the empty text.
_bstr_t XmlChildText(XmlNode node, _bstr_t name);

} // namespace scankelv
