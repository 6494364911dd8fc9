// The C interface of the OpenFX Image Effect API 1.x: types, status codes and the seven suites at version 1.
//
// Everything here is binary interface: member order, member types and sizes are fixed by the standard
// (openfx.readthedocs.io) and shared with every host. The static assertions at the end pin them down for LP64.
// The texts of actions, suites and properties are in ofx_names.h.
#pragma once

#include <cstddef>

extern "C" {

// ---- Values ---------------------------------------------------------------------------------------------------

using OfxStatus = int;
using OfxTime = double;  // frames; 0 is the first frame of the effect

struct OfxRangeI {
    int min, max;
};
struct OfxRangeD {
    double min, max;
};
struct OfxPointI {
    int x, y;
};
struct OfxPointD {
    double x, y;
};
struct OfxRectI {
    int x1, y1, x2, y2;
};  // half open: x1 <= x < x2
struct OfxRectD {
    double x1, y1, x2, y2;
};

// ---- Handles --------------------------------------------------------------------------------------------------

using OfxPropertySetHandle = struct OfxPropertySetStruct*;  // also the handle of a fetched image
using OfxImageEffectHandle = struct OfxImageEffectStruct*;  // descriptor or instance
using OfxImageClipHandle = struct OfxImageClipStruct*;
using OfxImageMemoryHandle = struct OfxImageMemoryStruct*;
using OfxParamHandle = struct OfxParamStruct*;
using OfxParamSetHandle = struct OfxParamSetStruct*;
using OfxInteractHandle = struct OfxInteractStruct*;
using OfxMutexHandle = struct OfxMutexStruct*;

// ---- Host and plug-in -----------------------------------------------------------------------------------------

struct OfxHost {
    OfxPropertySetHandle host;
    const void* (*fetchSuite)(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);
};

using OfxPluginEntryPoint = OfxStatus(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                                      OfxPropertySetHandle outArgs);

struct OfxPlugin {
    const char* pluginApi;
    int apiVersion;
    const char* pluginIdentifier;
    unsigned int pluginVersionMajor;
    unsigned int pluginVersionMinor;
    void (*setHost)(OfxHost* host);
    OfxPluginEntryPoint* mainEntry;
};

// ---- Suites ---------------------------------------------------------------------------------------------------

struct OfxPropertySuiteV1 {
    OfxStatus (*propSetPointer)(OfxPropertySetHandle, const char* property, int index, void* value);
    OfxStatus (*propSetString)(OfxPropertySetHandle, const char* property, int index, const char* value);
    OfxStatus (*propSetDouble)(OfxPropertySetHandle, const char* property, int index, double value);
    OfxStatus (*propSetInt)(OfxPropertySetHandle, const char* property, int index, int value);
    OfxStatus (*propSetPointerN)(OfxPropertySetHandle, const char* property, int count, void* const* values);
    OfxStatus (*propSetStringN)(OfxPropertySetHandle, const char* property, int count, const char* const* values);
    OfxStatus (*propSetDoubleN)(OfxPropertySetHandle, const char* property, int count, const double* values);
    OfxStatus (*propSetIntN)(OfxPropertySetHandle, const char* property, int count, const int* values);
    OfxStatus (*propGetPointer)(OfxPropertySetHandle, const char* property, int index, void** value);
    OfxStatus (*propGetString)(OfxPropertySetHandle, const char* property, int index, char** value);
    OfxStatus (*propGetDouble)(OfxPropertySetHandle, const char* property, int index, double* value);
    OfxStatus (*propGetInt)(OfxPropertySetHandle, const char* property, int index, int* value);
    OfxStatus (*propGetPointerN)(OfxPropertySetHandle, const char* property, int count, void** values);
    OfxStatus (*propGetStringN)(OfxPropertySetHandle, const char* property, int count, char** values);
    OfxStatus (*propGetDoubleN)(OfxPropertySetHandle, const char* property, int count, double* values);
    OfxStatus (*propGetIntN)(OfxPropertySetHandle, const char* property, int count, int* values);
    OfxStatus (*propReset)(OfxPropertySetHandle, const char* property);
    OfxStatus (*propGetDimension)(OfxPropertySetHandle, const char* property, int* count);
};

struct OfxImageEffectSuiteV1 {
    OfxStatus (*getPropertySet)(OfxImageEffectHandle, OfxPropertySetHandle* properties);
    OfxStatus (*getParamSet)(OfxImageEffectHandle, OfxParamSetHandle* parameters);
    OfxStatus (*clipDefine)(OfxImageEffectHandle, const char* name, OfxPropertySetHandle* properties);
    OfxStatus (*clipGetHandle)(OfxImageEffectHandle, const char* name, OfxImageClipHandle* clip,
                               OfxPropertySetHandle* properties);
    OfxStatus (*clipGetPropertySet)(OfxImageClipHandle, OfxPropertySetHandle* properties);
    OfxStatus (*clipGetImage)(OfxImageClipHandle, OfxTime time, const OfxRectD* region, OfxPropertySetHandle* image);
    OfxStatus (*clipReleaseImage)(OfxPropertySetHandle image);
    OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle, OfxTime time, OfxRectD* bounds);
    int (*abort)(OfxImageEffectHandle);
    OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle, std::size_t bytes, OfxImageMemoryHandle* memory);
    OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle);
    OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle, void** data);
    OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle);
};

struct OfxParameterSuiteV1 {
    OfxStatus (*paramDefine)(OfxParamSetHandle, const char* type, const char* name, OfxPropertySetHandle* properties);
    OfxStatus (*paramGetHandle)(OfxParamSetHandle, const char* name, OfxParamHandle* param,
                                OfxPropertySetHandle* properties);
    OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle, OfxPropertySetHandle* properties);
    OfxStatus (*paramGetPropertySet)(OfxParamHandle, OfxPropertySetHandle* properties);
    OfxStatus (*paramGetValue)(OfxParamHandle, ...);
    OfxStatus (*paramGetValueAtTime)(OfxParamHandle, OfxTime time, ...);
    OfxStatus (*paramGetDerivative)(OfxParamHandle, OfxTime time, ...);
    OfxStatus (*paramGetIntegral)(OfxParamHandle, OfxTime from, OfxTime to, ...);
    OfxStatus (*paramSetValue)(OfxParamHandle, ...);
    OfxStatus (*paramSetValueAtTime)(OfxParamHandle, OfxTime time, ...);
    OfxStatus (*paramGetNumKeys)(OfxParamHandle, unsigned int* count);
    OfxStatus (*paramGetKeyTime)(OfxParamHandle, unsigned int index, OfxTime* time);
    OfxStatus (*paramGetKeyIndex)(OfxParamHandle, OfxTime time, int direction, int* index);
    OfxStatus (*paramDeleteKey)(OfxParamHandle, OfxTime time);
    OfxStatus (*paramDeleteAllKeys)(OfxParamHandle);
    OfxStatus (*paramCopy)(OfxParamHandle to, OfxParamHandle from, OfxTime offset, const OfxRangeD* range);
    OfxStatus (*paramEditBegin)(OfxParamSetHandle, const char* undoLabel);
    OfxStatus (*paramEditEnd)(OfxParamSetHandle);
};

struct OfxMemorySuiteV1 {
    OfxStatus (*memoryAlloc)(void* effectHandle, std::size_t bytes, void** data);
    OfxStatus (*memoryFree)(void* data);
};

using OfxThreadFunctionV1 = void(unsigned int threadIndex, unsigned int threadMax, void* customArg);

struct OfxMultiThreadSuiteV1 {
    OfxStatus (*multiThread)(OfxThreadFunctionV1* function, unsigned int threads, void* customArg);
    OfxStatus (*multiThreadNumCPUs)(unsigned int* count);
    OfxStatus (*multiThreadIndex)(unsigned int* index);
    int (*multiThreadIsSpawnedThread)();
    OfxStatus (*mutexCreate)(OfxMutexHandle* mutex, int lockCount);
    OfxStatus (*mutexDestroy)(OfxMutexHandle);
    OfxStatus (*mutexLock)(OfxMutexHandle);
    OfxStatus (*mutexUnLock)(OfxMutexHandle);
    OfxStatus (*mutexTryLock)(OfxMutexHandle);
};

struct OfxMessageSuiteV1 {
    OfxStatus (*message)(void* handle, const char* messageType, const char* messageId, const char* format, ...);
};

struct OfxInteractSuiteV1 {
    OfxStatus (*interactSwapBuffers)(OfxInteractHandle);
    OfxStatus (*interactRedraw)(OfxInteractHandle);
    OfxStatus (*interactGetPropertySet)(OfxInteractHandle, OfxPropertySetHandle* properties);
};

// To be called within a render with OpenGLEnabled, while the host's context is current. The texture's properties are
// those of an image, but for data and row bytes.
struct OfxImageEffectOpenGLRenderSuiteV1 {
    OfxStatus (*clipLoadTexture)(OfxImageClipHandle, OfxTime time, const char* format, const OfxRectD* region,
                                 OfxPropertySetHandle* texture);  // null format: as the clip is
    OfxStatus (*clipFreeTexture)(OfxPropertySetHandle texture);
    OfxStatus (*flushResources)();
};

}  // extern "C"

// ---- Status codes ---------------------------------------------------------------------------------------------

namespace ofx::status {
inline constexpr OfxStatus OK = 0;
inline constexpr OfxStatus Failed = 1;
inline constexpr OfxStatus ErrFatal = 2;
inline constexpr OfxStatus ErrUnknown = 3;
inline constexpr OfxStatus ErrMissingHostFeature = 4;
inline constexpr OfxStatus ErrUnsupported = 5;
inline constexpr OfxStatus ErrExists = 6;
inline constexpr OfxStatus ErrFormat = 7;
inline constexpr OfxStatus ErrMemory = 8;
inline constexpr OfxStatus GPURenderFailed = 1002;  // of a render on a device: the host may try without one
inline constexpr OfxStatus ErrBadHandle = 9;
inline constexpr OfxStatus ErrBadIndex = 10;
inline constexpr OfxStatus ErrValue = 11;
inline constexpr OfxStatus ReplyYes = 12;
inline constexpr OfxStatus ReplyNo = 13;
inline constexpr OfxStatus ReplyDefault = 14;
inline constexpr OfxStatus ErrImageFormat = 1000;
inline constexpr OfxStatus GPUOutOfMemory = 1001;  // likewise
}  // namespace ofx::status

// ---- The binary interface, pinned (x86-64, LP64) --------------------------------------------------------------

#if defined(__LP64__)
static_assert(sizeof(OfxStatus) == 4 && sizeof(OfxTime) == 8);
static_assert(sizeof(OfxRangeI) == 8 && sizeof(OfxRangeD) == 16 && sizeof(OfxPointI) == 8 && sizeof(OfxPointD) == 16);
static_assert(sizeof(OfxRectI) == 16 && alignof(OfxRectI) == 4 && sizeof(OfxRectD) == 32 && alignof(OfxRectD) == 8);
static_assert(sizeof(OfxHost) == 16 && offsetof(OfxHost, host) == 0 && offsetof(OfxHost, fetchSuite) == 8);
static_assert(sizeof(OfxPlugin) == 48 && offsetof(OfxPlugin, pluginApi) == 0 && offsetof(OfxPlugin, apiVersion) == 8 &&
              offsetof(OfxPlugin, pluginIdentifier) == 16 && offsetof(OfxPlugin, pluginVersionMajor) == 24 &&
              offsetof(OfxPlugin, pluginVersionMinor) == 28 && offsetof(OfxPlugin, setHost) == 32 &&
              offsetof(OfxPlugin, mainEntry) == 40);

static_assert(
    sizeof(OfxPropertySuiteV1) == 144 && offsetof(OfxPropertySuiteV1, propSetInt) == 3 * 8 &&
    offsetof(OfxPropertySuiteV1, propSetPointerN) == 4 * 8 && offsetof(OfxPropertySuiteV1, propSetIntN) == 7 * 8 &&
    offsetof(OfxPropertySuiteV1, propGetPointer) == 8 * 8 && offsetof(OfxPropertySuiteV1, propGetString) == 9 * 8 &&
    offsetof(OfxPropertySuiteV1, propGetDouble) == 10 * 8 && offsetof(OfxPropertySuiteV1, propGetInt) == 11 * 8 &&
    offsetof(OfxPropertySuiteV1, propGetIntN) == 15 * 8 && offsetof(OfxPropertySuiteV1, propReset) == 16 * 8 &&
    offsetof(OfxPropertySuiteV1, propGetDimension) == 17 * 8);

static_assert(sizeof(OfxImageEffectSuiteV1) == 104 && offsetof(OfxImageEffectSuiteV1, getParamSet) == 1 * 8 &&
              offsetof(OfxImageEffectSuiteV1, clipDefine) == 2 * 8 &&
              offsetof(OfxImageEffectSuiteV1, clipGetHandle) == 3 * 8 &&
              offsetof(OfxImageEffectSuiteV1, clipGetImage) == 5 * 8 &&
              offsetof(OfxImageEffectSuiteV1, clipReleaseImage) == 6 * 8 &&
              offsetof(OfxImageEffectSuiteV1, abort) == 8 * 8 &&
              offsetof(OfxImageEffectSuiteV1, imageMemoryUnlock) == 12 * 8);

static_assert(sizeof(OfxParameterSuiteV1) == 144 && offsetof(OfxParameterSuiteV1, paramGetHandle) == 1 * 8 &&
              offsetof(OfxParameterSuiteV1, paramGetPropertySet) == 3 * 8 &&
              offsetof(OfxParameterSuiteV1, paramGetValue) == 4 * 8 &&
              offsetof(OfxParameterSuiteV1, paramGetValueAtTime) == 5 * 8 &&
              offsetof(OfxParameterSuiteV1, paramSetValue) == 8 * 8 &&
              offsetof(OfxParameterSuiteV1, paramSetValueAtTime) == 9 * 8 &&
              offsetof(OfxParameterSuiteV1, paramGetNumKeys) == 10 * 8 &&
              offsetof(OfxParameterSuiteV1, paramCopy) == 15 * 8 &&
              offsetof(OfxParameterSuiteV1, paramEditEnd) == 17 * 8);

static_assert(sizeof(OfxMemorySuiteV1) == 16 && offsetof(OfxMemorySuiteV1, memoryFree) == 8);
static_assert(sizeof(OfxMultiThreadSuiteV1) == 72 && offsetof(OfxMultiThreadSuiteV1, multiThreadNumCPUs) == 8 &&
              offsetof(OfxMultiThreadSuiteV1, multiThreadIsSpawnedThread) == 3 * 8 &&
              offsetof(OfxMultiThreadSuiteV1, mutexTryLock) == 8 * 8);
static_assert(sizeof(OfxMessageSuiteV1) == 8);
static_assert(sizeof(OfxInteractSuiteV1) == 24 && offsetof(OfxInteractSuiteV1, interactGetPropertySet) == 16);
#endif
