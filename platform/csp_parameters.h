/* Parameters that the GOST provider has besides those of CryptoAPI, for CryptGetProvParam. Texts
 * are of the ANSI code page, with their terminator. */
#pragma once

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
