#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "inet/tnet_ether.h"

// A device as it is announced to edges.
struct TcrDevice {
    uint32_t ip = 0;  // host byte order
    tnet_ether_addr mac = {};

    bool operator==(const TcrDevice& other) const {
        return ip == other.ip && tnet_is_same_ether_addr(&mac, &other.mac) != 0;
    }
};

// What one edge knows of another one. The edge surely knows what it acknowledged or showed by a
// later request, and may know what it was sent; the difference is what a lost datagram leaves
// open. Something is announced until it is sure, and taken back for as long as it may be known.
struct TcrPeerView {
    bool may_know = false;         // it may have the router in its topology
    uint32_t offered_version = 0;  // of the router in the last list sent to it
    uint32_t sure_version = 0;     // of the router that it has; 0: none
    std::vector<TcrDevice> may_devices;
    std::vector<TcrDevice> sure_devices;

    void MayKnow(const std::vector<TcrDevice>& devices) { Unite(may_devices, devices); }
    void SurelyKnows(const std::vector<TcrDevice>& devices) { Unite(sure_devices, devices); }

  private:
    static void Unite(std::vector<TcrDevice>& into, const std::vector<TcrDevice>& devices) {
        for (const TcrDevice& device : devices) {
            if (std::find(into.begin(), into.end(), device) == into.end()) into.push_back(device);
        }
    }
};
