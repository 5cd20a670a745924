#pragma once

#include "base/Bytes.h"
#include "platform/quartzcomposer/graph/PortValue.h"

namespace vitrel::qc {

// An XML document as a structure: what the root element holds, in its order. An element with elements in it is a
// structure of them, by their names, and ahead of them its attributes; one with text alone is the text, without the
// white space about it. Null for what is no XML, for documents with a DTD, deeper than 64 elements, or with more than a
// million elements and attributes. Any thread.
StructureRef structureOfXML(ByteView document);

} // namespace vitrel::qc
