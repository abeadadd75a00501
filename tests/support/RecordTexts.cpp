#include "support/RecordTexts.h"

#include <stdexcept>

using namespace std::string_literals;

namespace kvmcftest {

std::string HeaderRows131(unsigned int active, const std::string& headModel) {
    if (headModel.size() != 12) throw std::invalid_argument("head model text must be 12 characters");
    return "65567 11 "s + std::to_string(active) +
           " 3 5000000004 -5.5 \0 \t \n   \x06 11.5 12.25 13.5 14.75 15 \xc8"s
           " 17.5 18.5 -19 20 21 22.5 23.5 24.5 25 26 \x04 \x07"
           " 29 30 31 32 33 34 35 36 37 38 39.5 40 41.5 42 43.5 44 45 46 -47.5 48 49 50 51"
           " 4000000052 53 54 55 56 57 58 59 60 61 62 63.5 64.5 65 66.5 67 68 69.5 70.5 71.5 72.5 73 74 75 "
           "12\n" + headModel + " \n 761 762 10\nrun 77.dat \n";
}

const std::string& HeaderNested131() {
    static const std::string text =
    "65538 13\nseventy-eight\n"                                  // user text
    "65538 \x04 \x03 \x05 \x06 0.5 0.25\n"                       // shutter
    "65540 1 81 8.5 82 83 9.5 LBL\n1 10.5 11 13 14 15 4 note"    // full spectrograph
    " 16 17 18 19 20 2 20.5 21 M80\n3 30.5 4 40.5 10 12\n"
    "65537 1 1.5 2.5 4 abcd 3.5 4.5\n"                           // short spectrograph
    "65539 1 2 3 4 1 5 6 1 7 8 9 0.5 0.25 10 0.125 0.0625\n"     // intensifier
    "1 0 11 12\n0 1 13 14\n1 1 15 16\n2.5 17 1\n"
    "83\n"                                                       // AuxIntSetting5
    "65538 1 2000 1000 100 50 2 3 11 21";                        // crop
    return text;
}

const std::string& Calibration14() {
    static const std::string text =
        "65540 \x02 \x00 \x01 \x00 \x01 \x00\n"s
        "500 0.125 0 0\n0 1 0 0\n0 1 0 0\n"
        "532\n2.6e-05\n2.4e-05\n1\n"
        "10\nWavelength6\nCounts12\nPixel number";
    return text;
}

const std::string& ImageData15() {
    static const std::string text =
        "\n65541 1 2 4 1 2 1 8 4\n65538 1 2 2 1 1 1 0\n   \n"
        "         5\n         7\n1\n"
        "                   0\n             1000000\n";
    return text;
}

std::string Rest(std::istream& is) {
    std::string rest;
    for (char c; is.get(c);) rest += c;
    return rest;
}

std::string FloatBytes(std::initializer_list<float> values) {
    std::string bytes;
    for (float v : values) bytes.append(reinterpret_cast<const char*>(&v), sizeof v);
    return bytes;
}

}  // namespace kvmcftest
