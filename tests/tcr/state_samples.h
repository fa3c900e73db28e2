#pragma once

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>
#include <string>

#include "sdwan/sdwan_device.h"
#include "tcr/state_record.h"
#include "tcr/topology.h"

// Records for tests, and what is to be read back of them.

inline TcrSubnetRecord SampleSubnet(int index) {
    return {index, "net " + std::to_string(index),
            0x0A000001u + (static_cast<uint32_t>(index) << 16), 0xFFFF0000u};
}

// An edge of a sample subnet whose every field depends on the two numbers given.
inline TcrEdgeRecord SampleEdge(int subnet, int slot, uint32_t variant) {
    TcrEdgeRecord edge;
    edge.subnet = subnet;
    edge.slot = slot;
    edge.serial = 0xFFFF0000u + static_cast<uint32_t>(slot);
    edge.label = std::string(variant % 33, '\xFF');
    edge.type = static_cast<uint16_t>(variant * 7);
    edge.layer = static_cast<uint8_t>(variant * 3);
    edge.remote = CTSockAddr(0xC0A80000u + variant, static_cast<uint16_t>(variant | 1));
    edge.local = variant % 3 == 0 ? 0 : 0xFFFFFFFEu;
    edge.presence = static_cast<TcrPresence>(variant % 3);
    edge.listed = (variant & 1) != 0;
    edge.registered = (variant & 2) != 0;
    edge.settled = (variant & 4) != 0;
    edge.heard = (int64_t{1} << 33) + variant;
    edge.sealed = variant % 2 != 0;
    uint32_t first =
        0x0A000100u + (static_cast<uint32_t>(subnet) << 16) + static_cast<uint32_t>(slot) * 16;
    if (variant % 9 > 0) edge.lease = first;
    for (uint32_t i = 0; i < variant % 9; ++i) {
        TcrDeviceRecord device{first + i, {{2, 0, 0, 0, 0, static_cast<uint8_t>(variant)}}, 0};
        device.status = static_cast<uint16_t>(variant % 3);
        edge.devices.push_back(device);
    }
    return edge;
}

inline std::string TextOf(const TcrEdgeRecord& edge) {
    std::ostringstream text;
    text << edge.subnet << '/' << edge.slot << ' ' << edge.serial << ' ' << edge.label << ' '
         << edge.type << ' ' << int{edge.layer} << ' ' << edge.remote.GetIPv4() << ':'
         << edge.remote.GetPort() << ' ' << edge.local << ' ' << edge.lease << ' '
         << static_cast<int>(edge.presence) << edge.listed << edge.registered << edge.settled << ' '
         << edge.heard << (edge.sealed ? " sealed" : "");
    for (const TcrDeviceRecord& device : edge.devices) {
        text << " [" << device.ip << ' ' << int{device.mac.bytes[5]} << ' ' << device.status << ']';
    }
    return text.str();
}

// The image as text, whatever the order of its records.
inline std::string TextOf(const TcrStateImage& image) {
    std::map<std::string, int> lines;
    for (const TcrSubnetRecord& subnet : image.subnets) {
        std::ostringstream text;
        text << subnet.index << ' ' << subnet.name << ' ' << subnet.gateway << ' ' << subnet.mask;
        ++lines[text.str()];
    }
    for (const TcrEdgeRecord& edge : image.edges)
        ++lines[TextOf(edge)];
    std::string all;
    for (const auto& [line, count] : lines)
        all += std::to_string(count) + "x " + line + "\n";
    return all;
}

// What batches come to, without a database.
struct StateModel {
    std::map<int, TcrSubnetRecord> subnets;
    std::map<std::pair<int, int>, TcrEdgeRecord> edges;

    void Apply(const TcrStateBatch& batch) {
        for (int index : batch.removed_subnets) {
            subnets.erase(index);
            std::erase_if(edges, [&](const auto& edge) { return edge.first.first == index; });
        }
        for (auto place : batch.removed_edges)
            edges.erase(place);
        for (const TcrSubnetRecord& subnet : batch.subnets)
            subnets[subnet.index] = subnet;
        for (const TcrEdgeRecord& edge : batch.edges)
            edges[{edge.subnet, edge.slot}] = edge;
    }
    TcrStateImage Image() const {
        TcrStateImage image;
        for (const auto& [index, subnet] : subnets)
            image.subnets.push_back(subnet);
        for (const auto& [place, edge] : edges)
            image.edges.push_back(edge);
        return image;
    }
    // A batch as a central router might give it: no edge without its subnet.
    TcrStateBatch RandomBatch(std::mt19937& random) {
        auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
        TcrStateBatch batch;
        std::map<int, bool> there;
        for (const auto& [index, subnet] : subnets)
            there[index] = true;
        if (below(6) == 0) {
            int index = below(4);
            batch.removed_subnets.push_back(index);
            there[index] = false;
        }
        for (int i = below(3); i > 0; --i)
            batch.removed_edges.emplace_back(below(4), below(kTcrSlots));
        for (int i = below(2); i >= 0; --i) {
            int index = below(4);
            batch.subnets.push_back(SampleSubnet(index));
            there[index] = true;
        }
        for (int i = below(8); i > 0; --i) {
            int index = below(4);
            if (!there[index]) continue;
            batch.edges.push_back(
                SampleEdge(index, below(kTcrSlots), static_cast<uint32_t>(below(1000))));
        }
        Apply(batch);
        return batch;
    }
};
