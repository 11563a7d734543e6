#include <vam/interface/ca_vam_interface_sp.h>
#include <vam/tee/vam_tee_client.h>

#include <cstdint>

// A program for the made-up device. It asks for another application than the VAM's, and is refused.

int main() {
  TEEC_UUID uuid{};
  uuid.timeLow = 0xC0FFEE;
  VAMTEEClient().Open(uuid);
  return CaVamInterfaceSp(uuid).vam_getInfo() == TEEC_ERROR_BAD_PARAMETERS ? 0 : 1;
}
