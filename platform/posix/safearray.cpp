#include <korvan/platform.h>

#include <cstdlib>
#include <cstring>

// One-dimensional arrays of bytes. The descriptor and the data are separate
// blocks; the data block has at least one byte, so that even an empty array
// hands out a valid data pointer.

namespace {

constexpr HRESULT kUnexpected = static_cast<HRESULT>(0x8000FFFFu);  // E_UNEXPECTED

bool IsValidDimension(const SAFEARRAY* psa, UINT nDim) {
    return nDim >= 1 && nDim <= psa->cDims;
}

}  // namespace

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) {
    if (cDims != 1 || !rgsabound) {
        return nullptr;
    }
    return SafeArrayCreateVector(vt, rgsabound[0].lLbound, rgsabound[0].cElements);
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) {
    if (vt != VT_UI1) {
        return nullptr;
    }
    auto* psa = static_cast<SAFEARRAY*>(std::calloc(1, sizeof(SAFEARRAY)));
    if (!psa) {
        return nullptr;
    }
    psa->pvData = std::calloc(cElements ? cElements : 1, 1);
    if (!psa->pvData) {
        std::free(psa);
        return nullptr;
    }
    psa->cDims = 1;
    psa->cbElements = 1;
    psa->rgsabound[0].cElements = cElements;
    psa->rgsabound[0].lLbound = lLbound;
    return psa;
}

HRESULT SafeArrayDestroy(SAFEARRAY* psa) {
    if (!psa) {
        return S_OK;
    }
    if (psa->cLocks > 0) {
        return DISP_E_ARRAYISLOCKED;
    }
    std::free(psa->pvData);
    std::free(psa);
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** ppsaOut) {
    if (!ppsaOut) {
        return E_INVALIDARG;
    }
    *ppsaOut = nullptr;
    if (!psa) {
        return S_OK;
    }
    const SAFEARRAYBOUND& bound = psa->rgsabound[0];
    SAFEARRAY* copy = SafeArrayCreateVector(VT_UI1, bound.lLbound, bound.cElements);
    if (!copy) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(copy->pvData, psa->pvData, bound.cElements);
    *ppsaOut = copy;
    return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT nDim, LONG* plLbound) {
    if (!psa || !plLbound) {
        return E_INVALIDARG;
    }
    if (!IsValidDimension(psa, nDim)) {
        return DISP_E_BADINDEX;
    }
    *plLbound = psa->rgsabound[0].lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT nDim, LONG* plUbound) {
    if (!psa || !plUbound) {
        return E_INVALIDARG;
    }
    if (!IsValidDimension(psa, nDim)) {
        return DISP_E_BADINDEX;
    }
    const SAFEARRAYBOUND& bound = psa->rgsabound[0];
    // Inclusive; wraps the way the 32-bit arithmetic of Windows does.
    *plUbound = static_cast<LONG>(static_cast<int64_t>(bound.lLbound) + bound.cElements - 1);
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* psa) {
    return psa ? psa->cDims : 0;
}

UINT SafeArrayGetElemsize(SAFEARRAY* psa) {
    return psa ? psa->cbElements : 0;
}

HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** ppvData) {
    if (!psa || !ppvData) {
        return E_INVALIDARG;
    }
    ++psa->cLocks;
    *ppvData = psa->pvData;
    return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) {
    if (!psa) {
        return E_INVALIDARG;
    }
    if (psa->cLocks == 0) {
        return kUnexpected;
    }
    --psa->cLocks;
    return S_OK;
}
