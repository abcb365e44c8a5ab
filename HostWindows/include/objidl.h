// The allocator of the shell's texts and lists.
#pragma once
#pragma GCC system_header // an interface: virtual members and no virtual destructor

#include "unknwn.h"

struct IMalloc : IUnknown
{
    virtual void Free(void* memory) = 0;
    virtual int DidAlloc(void* memory) = 0;

protected:
    ~IMalloc() = default;
};
