/* Prints the GOST R 34.11-2012 hash of a file, 256 bits, and needs of all that is installed only
 * CryptoAPI: hash FILE */
#include <capi/capi.h>
#include <stdio.h>

#define PROVIDER "Velmorix Cryptographic Service Provider"
#define PROVIDER_TYPE 2
#define GOST_R_3411_2012_256 0x8021

/* Hashes what is left of the file; TRUE with 32 octets in `value`. */
static BOOL HashFile(HCRYPTHASH hash, FILE* file, BYTE* value) {
    BYTE block[4096];
    DWORD size;
    while ((size = (DWORD)fread(block, 1, sizeof(block), file)) > 0) {
        if (!CryptHashData(hash, block, size, 0)) {
            return FALSE;
        }
    }
    size = 32;
    return !ferror(file) && CryptGetHashParam(hash, HP_HASHVAL, value, &size, 0);
}

int main(int argc, char** argv) {
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
    BYTE value[32];
    BOOL done = FALSE;
    int i;

    FILE* const file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (file == NULL) {
        fprintf(stderr, "usage: hash FILE\n");
        return 2;
    }
    if (CryptAcquireContextA(&provider, NULL, PROVIDER, PROVIDER_TYPE, CRYPT_VERIFYCONTEXT)) {
        if (CryptCreateHash(provider, GOST_R_3411_2012_256, 0, 0, &hash)) {
            done = HashFile(hash, file, value);
            CryptDestroyHash(hash);
        }
        CryptReleaseContext(provider, 0);
    }
    fclose(file);
    if (!done) {
        fprintf(stderr, "no hash: 0x%08X\n", (unsigned)GetLastError());
        return 1;
    }
    for (i = 0; i < 32; ++i) {
        printf("%02x", value[i]);
    }
    printf("\n");
    return 0;
}
