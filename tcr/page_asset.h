#pragma once

#include <span>
#include <string_view>

// A file of the page (folder web/), as it is part of the program: the build makes the list from the
// files.
struct TcrPageAsset {
    std::string_view path;  // as a browser asks for it, "/page.js"
    std::string_view type;
    std::string_view content;
};

std::span<const TcrPageAsset> tcr_page_assets();
