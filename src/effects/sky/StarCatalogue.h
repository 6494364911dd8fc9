// The stars, and the places that they are seen from, as files of the data directory tell.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "effects/sky/StarPlaces.h"

struct CatalogueStar {
    StarPosition position;
    int number;       // in the Fifth Fundamental Catalogue; further stars go on from 10001
    float magnitude;  // visual
    char letter;      // of the spectral class
    int digit;
    bool marked;  // one of the seven stars of the Plough
};

// Lines of 191 characters with the number, the right ascension, its proper motion, the declination and its proper
// motion as numbers, and magnitude, spectral class, parallax and radial velocity in columns. Other lines are not stars;
// a file that can't be read has none.
void read_stars(const std::string& file, std::vector<CatalogueStar>& stars);

using StarList = std::shared_ptr<const std::vector<CatalogueStar>>;
// The stars of several files, one after the other. Whoever asks while another still holds them gets the same list,
// unless a file has another size or date by now: 45,000 stars take 20 ms to read. Safe to call from several threads.
StarList shared_stars(const std::vector<std::string>& files);

struct SkySite {
    const char* name;
    double latitude, longitude;  // degrees; west is positive
    double offset;               // hours to add to local time for universal time
};
inline constexpr int SKY_SITES = 40;
extern const SkySite BUILT_IN_SITES[SKY_SITES];

// Rows of latitude, longitude, offset and a name, in the order of the built-in table. Rows beyond it are not used, and
// names are those of the table. False when the file can't be read.
bool read_sites(const std::string& file, std::vector<SkySite>& sites);
