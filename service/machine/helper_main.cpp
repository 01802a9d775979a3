// orvan-block-reader: touches disks on behalf of the diagnostic service, so that a disk that hangs
// holds up this process and nothing else. Its standard input is a packet socket; it serves either
// any number of probes or the reads of one device, and ends when the socket closes.
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "service/machine/helper_device.h"
#include "service/machine/helper_probe.h"
#include "service/machine/helper_protocol.h"
#include "service/machine/helper_reads.h"

namespace orvan::machine {
namespace {

constexpr int kSocket = STDIN_FILENO;

bool IsValid(const OpenMessage& request) {
  return request.head.count == kHelperProtocolVersion && request.device.back() == '\0' &&
         request.depth >= 1 && request.depth <= kMostReadsInFlight &&
         request.largestReadBytes >= 1 && request.largestReadBytes <= kLargestReadBytes &&
         request.timeLimitMs >= 1;
}

bool IsValid(const ProbeMessage& question) {
  return question.head.count == kHelperProtocolVersion && question.device.back() == '\0' &&
         question.mountPoint.back() == '\0';
}

template <typename Message>
bool Send(const Message& message) {
  return send(kSocket, &message, sizeof(message), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(sizeof(message));
}

void ServeReads(const OpenMessage& request) {
  HelperDevice device;
  OpenedMessage answer;
  answer.error = device.Open(request);
  if (answer.error != 0) {
    Send(answer);
    return;
  }
  HelperReads reads(kSocket, device, request);
  answer.error = reads.SetUp();
  answer.readerFault = answer.error != 0 ? 1 : 0;
  answer.sizeBytes = device.Geometry().sizeBytes;
  answer.logicalSectorBytes = device.Geometry().logicalSectorBytes;
  answer.physicalSectorBytes = device.Geometry().physicalSectorBytes;
  if (!Send(answer) || answer.error != 0) return;
  reads.Run();
  // Leaving now, without tearing the ring down: that would wait for reads in flight.
  _exit(0);
}

// What a message may be; read into the largest, used as the one that its head names.
union AnyMessage {
  AnyMessage() : probe() {}
  MessageHead head;
  OpenMessage open;
  ProbeMessage probe;
};

int Serve() {
  while (true) {
    AnyMessage message;
    const ssize_t got = recv(kSocket, &message, sizeof(message), MSG_TRUNC);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return 0;
    const auto size = static_cast<std::size_t>(got);
    if (size == sizeof(OpenMessage) && message.head.kind == MessageKind::kOpen) {
      if (!IsValid(message.open)) return 2;
      ServeReads(message.open);
      return 0;
    }
    if (size != sizeof(ProbeMessage) || message.head.kind != MessageKind::kProbe ||
        !IsValid(message.probe) || !Send(AnswerProbe(message.probe))) {
      return 2;
    }
  }
}

}  // namespace
}  // namespace orvan::machine

int main() {
  return orvan::machine::Serve();
}
