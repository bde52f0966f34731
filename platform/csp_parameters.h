/* What the GOST provider has besides CryptoAPI, or gives in a form of its own.
 *
 * Keys. CryptGenKey takes 0x661E for a session key, and through a context with a container 0x2E23
 * and 0xAA24 (GOST R 34.10-2001), 0x2E49 and 0x2E3D (GOST R 34.10-2012, 256 and 512 bits):
 * 0xAA24 goes into the slot AT_KEYEXCHANGE, the others into AT_SIGNATURE. AT_KEYEXCHANGE and
 * AT_SIGNATURE themselves stand for 0x2E49 in that slot. What was in the slot is replaced, and
 * handles of it are left with their public key alone: NTE_NO_KEY for the rest. NTE_PERM in a
 * verification context. Private keys are read from the container when they are used, and only then
 * are its PIN's words given.
 *
 * Permissions. KP_PERMISSIONS can be set to fewer than there are, never to more: NTE_PERM. Without
 * CRYPT_EXPORT a key is not exported (NTE_BAD_KEY_STATE), without CRYPT_ENCRYPT or CRYPT_DECRYPT a
 * session key does not do that (NTE_PERM).
 *
 * Blobs. CryptExportKey gives, behind the BLOBHEADER with version 0x11 and two zeros, a private key
 * (PRIVATEKEYBLOB, flags 0x1000, under a session key) as PKCS#8 PrivateKeyInfo, encrypted from the
 * session key's vector; and a public key (PUBLICKEYBLOB, no flags, no other key) as DER
 * SubjectPublicKeyInfo. CryptImportKey takes both, the private one into AT_KEYEXCHANGE, where
 * CRYPT_EXPORTABLE is the one flag there is.
 *
 * Signatures. A key signs the hash of its own algorithm alone, else NTE_BAD_ALGID: 0x801E for keys
 * of 2001, 0x8021 and 0x8022 for those of 2012. A signature is 64 octets, or 128 for keys of 512
 * bits: r and then s, each least significant octet first. A certificate has the same octets from
 * the last to the first in its BIT STRING.
 *
 * The cipher is a stream cipher: pieces of any size, each as long as before. A null buffer asks
 * CryptEncrypt for the size, and ends no message.
 *
 * Parameters for CryptGetProvParam follow. Texts are of the ANSI code page, with their terminator.
 */
#pragma once

/* The curve of the keys that CryptGenKey makes from here on through a context with a container, as
 * dotted text; it can be set too. Empty text, which it is at first, stands for the algorithm's own:
 * 1.2.643.2.2.35.1 for keys of 256 bits and 1.2.643.7.1.2.1.2.1 for those of 512. What is no
 * curve's identifier: NTE_BAD_DATA. */
#define PP_SIGNATURE_CURVE 93

/* The name of the context's container, as PP_CONTAINER gives it. A verification context has none:
 * NTE_BAD_TYPE. */
#define PP_CONTAINER_NAME 220

/* The path of the file that the context's container lies in; for a verification context the folder
 * of all containers of its user, or of the machine with CRYPT_MACHINE_KEYSET at its opening.
 * Neither need be there. */
#define PP_CONTAINER_FILE 221

/* As PP_ENUMCONTAINERS, the paths of the files in that folder which are no readable container:
 * damaged, another user's, open to others, or refused by the system. */
#define PP_ENUM_DAMAGED_CONTAINERS 222
