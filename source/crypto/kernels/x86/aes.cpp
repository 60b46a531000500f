// AES by the processor's AES instructions.
#if defined(__x86_64__) || defined(__i386__)

#define OMBREL_WITH_AES [[gnu::target("aes,ssse3")]]
#include "crypto/kernels/x86/aes_machine.h"

namespace ombrel::crypto {

constinit const aes_kernel aes_x86 = {loop_encrypt_ecb<x86_machine>, loop_decrypt_ecb<x86_machine>,
                                      loop_encrypt_cfb8<x86_machine>, loop_decrypt_cfb8<x86_machine>,
                                      loop_ofb8<x86_machine>};

} // namespace ombrel::crypto

#endif
