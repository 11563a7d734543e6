# OpenSSL's libcrypto, which the utilities and the simulated board call. The oldest release that
# serves is named here alone: it brought EVP_MD_CTX_new. A test holds the calls to its interface.
set(VAM_OLDEST_OPENSSL 1.1.0)

find_package(OpenSSL ${VAM_OLDEST_OPENSSL} QUIET COMPONENTS Crypto)
if(NOT TARGET OpenSSL::Crypto)
  return()
endif()

# Later releases warn of calls that they mean to replace, unless they are asked for the interface of
# an older one. 1.1.0 is written 0x10100000L.
string(REPLACE "." ";" numbers ${VAM_OLDEST_OPENSSL})
list(GET numbers 0 major)
list(GET numbers 1 minor)
list(GET numbers 2 fix)
math(EXPR interface "(${major} << 28) | (${minor} << 20) | (${fix} << 12)"
     OUTPUT_FORMAT HEXADECIMAL)
set_property(TARGET OpenSSL::Crypto APPEND
             PROPERTY INTERFACE_COMPILE_DEFINITIONS OPENSSL_API_COMPAT=${interface}L)
