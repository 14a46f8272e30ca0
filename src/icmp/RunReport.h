#pragma once
#include "IcmpPacket.h"

#include <QHostAddress>

#include <array>

// What a ping sequence or a trace tells its control, as numbers: the control alone turns them
// into the texts of its events.
namespace icmp {

// What can go wrong in a run, apart from what the network answers.
enum class Fault {
    NoSocketPermission,     // neither a datagram nor a raw ICMP socket is allowed
    SocketFailed,           // the kernel refused a socket for another reason
    SocketSetupFailed,      // the socket refused an option it cannot work without
    HostNotFound,           // the target has no address
    TransmitFailed,         // sending a probe failed
};

// Why a packet that reached the socket was not taken as an answer.
enum class IgnoredReason {
    // What the decoder found in the bytes.
    Truncated,          // shorter than its headers say, or longer than the read buffer
    BadIpHeader,        // another IP version, a header length out of range, a fragment
    NotIcmp,            // another protocol inside IP
    BadChecksum,
    NotAnAnswer,        // an ICMP type a probe never gets back
    NotAnEchoQuote,     // an error quoting something other than an echo request
    // What the run found out.
    UnknownProbe,       // another identifier, or a sequence this run never sent
    WrongSource,        // an echo reply from elsewhere, an error about another destination
    Late,               // a duplicate, or an answer after its probe was given up
    MtuFits,            // "too big", claiming an MTU our probe fits: not about it
    NotAHop,            // an error that tells nothing of a hop
};
inline constexpr int kIgnoredReasons = int(IgnoredReason::NotAHop) + 1;

// How many packets were ignored, for each reason.
struct IgnoredCounts {
    std::array<int, kIgnoredReasons> byReason{};

    void add(IgnoredReason reason) { ++byReason[size_t(reason)]; }
    int operator[](IgnoredReason reason) const { return byReason[size_t(reason)]; }
    int total() const
    {
        int sum = 0;
        for (const int n : byReason)
            sum += n;
        return sum;
    }
    IgnoredCounts& operator+=(const IgnoredCounts& other)
    {
        for (size_t i = 0; i < byReason.size(); ++i)
            byReason[i] += other.byReason[i];
        return *this;
    }
};

} // namespace icmp

// One result of a run.
struct RunReport {
    enum class Outcome {
        Answer,     // an echo reply or an ICMP error about one of our probes
        Silent,     // no answer in time: a lost echo, a silent hop
        Fault,      // the run itself failed (socket, send)
        Complete,   // the end of the run
    };
    Outcome outcome = Outcome::Fault;
    int hop = 0;                 // trace: the hop, from 1; 0 in a ping
    int probe = 0;               // which echo of a ping (from 1), which probe of a hop (1 to 3)
    QHostAddress responder;      // Answer: who sent it
    qint64 tripNs = 0;
    icmp::Family family = icmp::Family::V4;
    icmp::AnswerKind answer = icmp::AnswerKind::EchoReply;
    quint8 type = 0;             // Answer: the ICMP type and code, in the family's numbering
    quint8 code = 0;
    int dataSize = 0;            // echo reply: data bytes
    int ttl = 0;                 // echo reply: the IP TTL / hop limit it arrived with
    icmp::Fault fault = icmp::Fault::SocketFailed;
    int errorNumber = 0;
    const char* option = nullptr;   // SocketSetupFailed: the option refused
};
