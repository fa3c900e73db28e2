#include "tcr/channels.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint8_t kChangeCipherSpec = 20;
constexpr uint8_t kHandshake = 22;
constexpr uint8_t kApplicationData = 23;

}  // namespace

CTSealSession::Sender TcrChannels::SenderTo(const TcrPath& path) const {
    return [this, &path](const uint8_t* data, int length) { m_send(path, data, length); };
}

bool TcrChannels::Receive(TcrPath& from, uint8_t* data, int& length, TcrTime now) {
    auto place = m_places.find(PlaceOf(from.remote));
    if (data[0] == kApplicationData) {
        if (place != m_places.end() && Open(place->second, from, data, length)) return true;
        ++m_counters.unopened;
        return false;
    }
    const uint8_t* random = nullptr;
    Channel* stranger = nullptr;
    if (place != m_places.end() && !place->second.front()->kept) stranger = place->second.front();
    if (seal_is_client_hello(data, length, random)) {
        bool is_further = stranger && memcmp(stranger->random, random, kSealRandomSize) == 0;
        if (!is_further) return Begin(from, data, length, random, now);
    }
    // Alerts are not looked at: anybody can send those that end a handshake.
    bool is_step = data[0] == kHandshake || data[0] == kChangeCipherSpec;
    if (!stranger || !is_step) {
        ++m_counters.unopened;
    } else if (!stranger->done) {
        Advance(*stranger, data, length, now);
    } else {
        // The last message of its handshake was lost: the library sends it again.
        stranger->session.Open(data, length, SenderTo(stranger->path));
    }
    return false;
}

// The newest first: but for the moments in which an edge changes over there is one.
bool TcrChannels::Open(const std::vector<Channel*>& channels, TcrPath& from, uint8_t* data,
                       int& length) {
    for (Channel* channel : channels) {
        if (!channel->done) continue;
        int opened = channel->session.Open(data, length, SenderTo(channel->path));
        if (opened == 0) continue;
        from.channel = channel->number;
        length = opened;
        return true;
    }
    return false;
}

bool TcrChannels::Begin(const TcrPath& from, const uint8_t* data, int length, const uint8_t* random,
                        TcrTime now) {
    gnutls_dtls_prestate_st prestate;
    if (!m_cookies.Judge(from.remote, data, length, prestate, SenderTo(from))) return false;
    // A client that came back means what it says now; its earlier attempt is over.
    auto before = m_places.find(PlaceOf(from.remote));
    if (before != m_places.end() && !before->second.front()->kept) {
        End(before->second.front()->number);
    }
    if (m_starts >= kMaxStartsPerTick || !MakeRoom(from.remote.GetIPv4())) {
        ++m_counters.refused;
        return false;
    }
    ++m_starts;
    auto channel = std::make_unique<Channel>();
    channel->number = ++m_last_number;
    channel->path = from;
    channel->ends = now + kStrangerMs;
    memcpy(channel->random, random, kSealRandomSize);
    if (!channel->session.Start(CTSealSession::Role::kCentralRouter, m_key, nullptr, &prestate)) {
        ++m_counters.refused;
        return false;
    }
    channel->place = m_strangers.insert(m_strangers.end(), channel->number);
    ++m_strangers_of[from.remote.GetIPv4()];
    std::vector<Channel*>& place = m_places[PlaceOf(from.remote)];
    place.insert(place.begin(), channel.get());
    Channel& begun = *(m_channels[channel->number] = std::move(channel));
    Advance(begun, data, length, now);
    return false;
}

void TcrChannels::Advance(Channel& channel, const uint8_t* data, int length, TcrTime now) {
    switch (channel.session.Advance(data, length, SenderTo(channel.path))) {
        case CTSealSession::Step::kDone:
            channel.done = true;
            ++m_counters.handshakes;
            break;
        case CTSealSession::Step::kGoesOn:
            channel.retry = now + std::max(channel.session.GetTimeout(), 1);
            break;
        case CTSealSession::Step::kFailed:
            ++m_counters.failed;
            End(channel.number);
            break;
    }
}

// False when the address has too many strangers; of all of them the oldest goes.
bool TcrChannels::MakeRoom(uint32_t ip) {
    auto of_address = m_strangers_of.find(ip);
    if (of_address != m_strangers_of.end() && of_address->second >= kMaxOfAddress) return false;
    if (m_strangers.size() < kMaxStrangers) return true;
    ++m_counters.failed;
    End(m_strangers.front());
    return true;
}

int TcrChannels::Seal(uint64_t channel, const uint8_t* message, int length, uint8_t* record) {
    Channel* found = Find(channel);
    return found && found->done ? found->session.Seal(message, length, record) : 0;
}

const CTSealFingerprint* TcrChannels::PeerOf(uint64_t channel) const {
    Channel* found = Find(channel);
    return found && found->done ? found->session.GetPeer() : nullptr;
}

void TcrChannels::Keep(uint64_t channel) {
    Channel* found = Find(channel);
    if (!found || found->kept || !found->done) return;
    Leave(*found);
    found->kept = true;
}

// It is no stranger any more.
void TcrChannels::Leave(Channel& channel) {
    m_strangers.erase(channel.place);
    auto of_address = m_strangers_of.find(channel.path.remote.GetIPv4());
    if (--of_address->second == 0) m_strangers_of.erase(of_address);
}

void TcrChannels::EndBut(const std::unordered_set<uint64_t>& in_use) {
    std::vector<uint64_t> over;
    for (const auto& [number, channel] : m_channels) {
        if (channel->kept && in_use.count(number) == 0) over.push_back(number);
    }
    for (uint64_t number : over)
        End(number);
}

void TcrChannels::Tick(TcrTime now) {
    m_starts = 0;
    std::vector<uint64_t> numbers(m_strangers.begin(), m_strangers.end());
    for (uint64_t number : numbers) {
        Channel& channel = *Find(number);
        if (now >= channel.ends) {
            if (!channel.done) ++m_counters.failed;
            End(number);
        } else if (!channel.done && now >= channel.retry) {
            Advance(channel, nullptr, 0, now);
        }
    }
}

TcrChannels::Channel* TcrChannels::Find(uint64_t number) const {
    auto found = m_channels.find(number);
    return found != m_channels.end() ? found->second.get() : nullptr;
}

void TcrChannels::End(uint64_t number) {
    auto found = m_channels.find(number);
    if (found == m_channels.end()) return;
    Channel& channel = *found->second;
    if (!channel.kept) Leave(channel);
    auto place = m_places.find(PlaceOf(channel.path.remote));
    std::erase(place->second, &channel);
    if (place->second.empty()) m_places.erase(place);
    m_channels.erase(found);
}
