// The yardstick of a run's cost: what the update tool does on a board whose chip holds the image's
// firmware, written bare. The same platform calls, console lines and status file, without layers
// and without a look at any result.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "platform/marshaller.h"
#include "platform/tee_client.h"

namespace {

struct Connection {
  TEEC_Context context;
  TEEC_Session session;
  TEEC_SharedMemory memory;
};

void Print(std::string line) {
  line += '\n';
  (void)!write(STDOUT_FILENO, line.data(), line.size());
}

void Open(Connection& connection) {
  const TEEC_UUID uuid = {
      0x58d50001, 0x1105, 0x000f, {0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb}};
  std::uint32_t origin = 0;
  TEEC_InitializeContext(nullptr, &connection.context);
  TEEC_OpenSession(&connection.context, &connection.session, &uuid, TEEC_LOGIN_PUBLIC, nullptr,
                   nullptr, &origin);
  connection.memory.size = 8192;
  connection.memory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  TEEC_AllocateSharedMemory(&connection.context, &connection.memory);
  Print("TEE connection has been set");
}

void Invoke(Connection& connection, std::uint32_t identifier) {
  TEEC_Operation operation;
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref = {&connection.memory, connection.memory.size, 0};
  std::uint32_t origin = 0;
  TEEC_InvokeCommand(&connection.session, identifier, &operation, &origin);
}

void Close(Connection& connection) {
  TEEC_ReleaseSharedMemory(&connection.memory);
  TEEC_CloseSession(&connection.session);
  TEEC_FinalizeContext(&connection.context);
}

std::string GetVersion(CNolvWsm& reply) {
  std::uint32_t size = 0;
  reply.GetUint(&size);
  return std::string(static_cast<const char*>(reply.GetBlob(size)), size - 1);
}

/// Returns the version of the system part and that of the application part.
std::pair<std::string, std::string> Update(std::int32_t mode) {
  Print("CA InterfaceSP: vm_updateFW");
  Connection connection{};
  Open(connection);
  std::pair<std::string, std::string> versions;
  {
    CNolvWsm marshaller(&connection.memory);
    marshaller.PutInt(mode);
    Invoke(connection, 18);
    marshaller.PrepareReset(1);
    marshaller.GetBlob(8);
    versions.first = GetVersion(marshaller);
    versions.second = GetVersion(marshaller);
  }
  Close(connection);
  return versions;
}

void PrintInformation() {
  Print("CA InterfaceSP: vam_getFWInfo");
  Connection connection{};
  Open(connection);
  Invoke(connection, 19);
  std::int32_t words[10];
  {
    CNolvWsm marshaller(&connection.memory);
    marshaller.PrepareReset(1);
    std::uint32_t count = 0;
    marshaller.GetUint(&count);
    std::memcpy(words, marshaller.GetBlob(count * 4), sizeof words);
  }
  Close(connection);
  for (int i = 0; i < 10; ++i) {
    Print(std::to_string(i) + ": " + std::to_string(words[i]));
  }
}

/// Prints the parts of two versions in pairs.
void PrintParts(const std::string& first, const std::string& second) {
  std::size_t begin = 0;
  while (begin < first.size()) {
    const std::size_t end = std::min(first.find_first_of("/,", begin), first.size());
    Print(first.substr(begin, end - begin));
    Print(second.substr(begin, end - begin));
    begin = end + 1;
  }
}

void PrintVersions(const std::string& label, const std::string& updated, const std::string& chip,
                   const std::string& image) {
  Print(label + ": " + updated);
  Print(label + "IC: " + chip);
  Print(label + "FS: " + image);
  PrintParts(image, chip);
}

}  // namespace

int main() {
  std::int32_t flag = -1;
  const int node = open("/dev/zelkshield", O_RDWR);
  ioctl(node, 1, &flag);
  close(node);
  Print("isvam = " + std::to_string(flag));
  Print("Vam present on this board");
  Print("Run updateBIN for VAM_UPDATEFW_ALL");

  const auto image = Update(7);
  const auto updated = Update(3);
  const auto chip = Update(11);
  PrintInformation();
  PrintVersions("systemVersion", updated.first, chip.first, image.first);
  PrintVersions("appVersion", updated.second, chip.second, image.second);

  const std::string verdict = "Updated FW version: " + chip.first + " \n";
  const int file = open("/tmp/VAM_OK", O_WRONLY | O_CREAT | O_TRUNC, 0666);
  (void)!write(file, verdict.data(), verdict.size());
  close(file);
}
