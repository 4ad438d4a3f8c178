// What the C entry points of the automation layer share: the failure
// record of the calling thread and the guard that turns exceptions into
// results.
#pragma once

#include <cstdint>
#include <new>
#include <string>

#include "automation/automation.h"

namespace ormavec::automation {

// Records the failure for ormavec_get_last_error and returns hresult.
int32_t Fail(int32_t hresult, int32_t number, std::string source, std::string description);
int32_t Fail(int32_t hresult, std::string description);

// The component's own numbers are already failure codes; a classic runtime
// number n becomes the control-facility code 0x800A0000 + n.
int32_t ResultOf(int32_t number);

// Record and array payloads of the host's variants: each holds model objects
// whose code lives in this library, so the library may not unload under them.
void CountValuePayload(int32_t delta) noexcept;

// Runs f, turning every exception into a result and the thread's error info.
template <class F>
int32_t Guard(F&& f) noexcept {
    try {
        return f();
    } catch (const Error& e) {
        std::string text = e.description().empty() ? std::string(DefaultErrorText(e.number())) : e.description();
        return Fail(ResultOf(e.number()), e.number(), e.source(), std::move(text));
    } catch (const std::bad_alloc&) {
        return Fail(ORMAVEC_E_OUTOFMEMORY, err::OutOfMemory, "Ormavec", "Out of memory");
    } catch (const std::exception& e) {
        return Fail(ORMAVEC_E_FAIL, e.what());
    } catch (...) {
        return Fail(ORMAVEC_E_FAIL, "Unknown failure");
    }
}

}  // namespace ormavec::automation
