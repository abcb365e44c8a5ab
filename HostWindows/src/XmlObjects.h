// The COM objects of the document model.
#pragma once

#include <guiddef.h>

namespace hostwindows
{

/// A new empty document. @return E_NOINTERFACE for an interface that documents do not have, `object` then being null
HRESULT CreateXmlDocument(REFIID interfaceId, void** object);

} // namespace hostwindows
