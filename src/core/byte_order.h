// The machine's byte order, for bytes that follow it and so must not be read
// by a machine of the other order.
#ifndef INETMGR_CORE_BYTE_ORDER_H
#define INETMGR_CORE_BYTE_ORDER_H

namespace corvane_com::zel::inetmgr {

inline constexpr bool kLittleEndianMachine = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// SecureString's plaintext is native-order code units, so a ciphertext saved
// on a machine of the other order would decrypt to characters with their
// bytes reversed. A big-endian machine binds its ciphertexts to this context
// (associated data), so neither kind decrypts on the other. Deliberately
// one-sided: little-endian ciphertexts carry no context and stay what they
// always were.
inline constexpr char kBigEndianSecretContext[] = "inetmgr SecureString big-endian";

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_BYTE_ORDER_H
