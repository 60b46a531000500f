// Control forms and the environment.
#include "context/ctx_internal.h"

using namespace ombrel::context;

int ombrel_ctx_vcontrol(int handle, uint32_t code, va_list args) {
    return forward(handle, &v0_interface::m_vcontrol, code, args);
}

int ombrel_ctx_control(int handle, uint32_t code, ...) {
    va_list args;
    va_start(args, code);
    const int result = ombrel_ctx_vcontrol(handle, code, args);
    va_end(args);
    return result;
}

int ombrel_ctx_vxcontrol(int handle, const char* name, va_list args) {
    return forward_if(name != nullptr, handle, &v0_interface::m_vxcontrol, name, args);
}

int ombrel_ctx_xcontrol(int handle, const char* name, ...) {
    va_list args;
    va_start(args, name);
    const int result = ombrel_ctx_vxcontrol(handle, name, args);
    va_end(args);
    return result;
}

int ombrel_ctx_vbcontrol(int handle, uint32_t code, va_list args) {
    return forward(handle, &v0_interface::m_vbcontrol, code, args);
}

int ombrel_ctx_bcontrol(int handle, uint32_t code, ...) {
    va_list args;
    va_start(args, code);
    const int result = ombrel_ctx_vbcontrol(handle, code, args);
    va_end(args);
    return result;
}

int ombrel_ctx_get_env(int handle, const char* name, char* text, size_t size) {
    const bool valid = name != nullptr && (text != nullptr || size == 0);
    return forward_if(valid, handle, &v0_interface::m_get_env, name, text, size);
}

int ombrel_ctx_set_env(int handle, const char* name, const char* text) {
    return forward_if(name != nullptr, handle, &v0_interface::m_set_env, name, text);
}
