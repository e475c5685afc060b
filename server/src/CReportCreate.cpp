// Making the flight report: from the finished flight and the booked records
// to the report record, the aircraft's wear and fuel, the money and the rating.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <locale>
#include <sstream>
#include <string>

#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CReport.h"
#include "QuelbyVersion.h"

namespace {

constexpr int kCrashKind = 2;
constexpr int kFuelExhaustedKind = 8;
constexpr int kPositioningFlightType = 2;

// "%d" and "%.1f" in the "C" locale, whatever locale the simulator set.
std::string intText(int value) { return std::to_string(value); }

// "%.*f" in the "C" locale, whatever locale the simulator set.
std::string fixedText(double value, int decimals) {
    const CNumberText::CClassicFormatting classic;
    char text[400];  // the longest double written in full, with its decimals
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

std::string oneDecimalText(double value) { return fixedText(value, 1); }

// The report's own log line for figures it had to drop; shared by the
// static money helpers, which have no report object.
CLogger& figureLog() {
    static CLogger logger("CReport", false);
    return logger;
}

// Every conversion to a whole figure cuts toward zero. Damaged backup records
// or absurd numbers from the website can make a figure no int32 holds (or
// NaN); such a figure is reported and counts as 0 rather than as whatever an
// undefined conversion gives.
int32_t truncated(double value, const char* what) {
    int whole = 0;
    if (CNumberText::truncateToInt(value, whole)) {
        return whole;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "Report figure " << what << " out of range (" << value << "); taken as 0";
    figureLog().warn(text.str());
    return 0;
}

// A sum or difference of whole figures, computed wide and then checked as
// any other figure.
int32_t wholeSum(int64_t value, const char* what) {
    return truncated(static_cast<double>(value), what);
}

double bonusRate(int simulationRate) {
    switch (simulationRate) {
        case 1:
            return 0.2;
        case 2:
            return 0.1;
        case 4:
            return 0.05;
        default:
            return 0.0;
    }
}

// The revenue of W kg of cargo over L (the log's distance): the rate per kg
// falls with distance up to 1000 and rises slowly beyond; heavy loads pay less
// per kg.
int32_t cargoRevenue(int distance, int cargoKg) {
    const double x = distance / 1000.0;
    double distanceFactor = std::exp(-x) * 1.6;
    if (x > 1.0) {
        distanceFactor += (1.0 - std::exp(1.0 - x)) * 0.2;
    }
    const double weightFactor = std::exp(-static_cast<double>(cargoKg) / 1000.0 / 7.0) * 0.8 + 0.2;
    return truncated(cargoKg * (weightFactor / 100.0 * distanceFactor * distance), "Cargo");
}

// The tank keeps one multiplier for all the fuel in it. Of the fuel on board
// at arrival (B), the part that the booking brought (A) keeps the old
// multiplier f, the rest takes this flight's m; which part counts as left over
// depends on which multiplier is the higher.
float blendedFuelMultiplier(float oldMultiplier, double flightMultiplier, int bookedKg,
                            int afterKg) {
    // Wide enough for any two int32 figures' difference and sum.
    int64_t oldPartKg = bookedKg;
    int64_t newPartKg = afterKg;
    if (oldMultiplier > flightMultiplier) {
        oldPartKg = std::min(bookedKg, afterKg);
        newPartKg = afterKg - oldPartKg;
    } else if (flightMultiplier > oldMultiplier) {
        newPartKg = std::min(bookedKg, afterKg);
        oldPartKg = bookedKg - newPartKg;
    }
    const int64_t totalKg = oldPartKg + newPartKg;
    if (totalKg == 0) {
        return 0.0f;
    }
    return static_cast<float>((oldMultiplier * static_cast<double>(oldPartKg) +
                               flightMultiplier * static_cast<double>(newPartKg)) /
                              static_cast<double>(totalKg));
}

}  // namespace

int32_t CReport::fuelCost(int fuelKg, double pricePerLitre) {
    return truncated(static_cast<float>(fuelKg) * static_cast<float>(pricePerLitre) * 1.234f,
                     "fuel cost");
}

double CReport::ticketFactor(double typeTicketFactor) {
    return typeTicketFactor > 0.0 ? typeTicketFactor : 1.0;
}

double CReport::ticketRevenue(double ticketPrice, int passengers, double typeTicketFactor) {
    return ticketPrice * passengers * ticketFactor(typeTicketFactor);
}

int32_t CReport::ticketMoney(double ticketPrice, int passengers, double typeTicketFactor) {
    return truncated(ticketRevenue(ticketPrice, passengers, typeTicketFactor), "Tickets");
}

int CReport::createReport() {
    if (m_pSimulator == nullptr || m_pClient == nullptr) {
        m_pLogger->error("createReport without simulator or client interface");
        return 1;
    }
    CClientInterface& client = *m_pClient;
    const tagAircraftData& aircraftData = m_pSimulator->m_aircraftData;
    tTarvex_Reports& report = client.m_report;
    tTarvex_Logs& log = client.m_log;
    tTarvex_Routes& route = client.m_route;
    tTarvex_Aircrafts& aircraft = client.m_aircraft;
    tTarvex_VirtualAirlines& airline = client.m_virtualAirline;
    m_aircraftBeforeReport = aircraft;
    m_bHaveAircraftBeforeReport = true;

    // 1. The load as flown.
    setRecordText(log.Passengers, intText(aircraftData.nPassengers));
    setRecordText(log.Cargo, intText(aircraftData.nCargoKg));

    // 2. Who flew what from where.
    setRecordText(report.AC_Type, recordText(aircraft.Type));
    setRecordText(report.AC_ID, recordText(log.AC_ID));
    setRecordText(report.PIC,
                  recordText(client.m_pilot.Name) + " " + recordText(client.m_pilot.Surname));
    setRecordText(report.Pilot_ID, recordText(client.m_pilot.ID));
    setRecordText(report.PID, recordText(client.m_pilot.VA_User));
    setRecordText(report.VA, recordText(airline.Name));
    setRecordText(report.VA_ID, recordText(airline.ID));
    setRecordText(report.Number, recordText(route.Number));
    setRecordText(report.Dep, recordText(log.Departure));
    setRecordText(report.Pln_Arr, recordText(route.Arr));

    // 3. Where it ended; a wreck is not looked up, and no airport found
    // leaves Arr as it was.
    if (!isPenalty(kCrashKind)) {
        client.readClosestAirport(aircraftData.dLongitude, aircraftData.dLatitude);
        const std::string closest = recordText(client.m_closestAirport);
        if (!closest.empty()) {
            setRecordText(report.Arr, closest);
        }
    }

    // 4. and 5. Arrival and block time: the clock and the flight timer as
    // the simulator interface read them last, at arrival.
    setRecordText(report.Arrtime, recordText(aircraftData.zuluTime));
    setRecordText(report.Loc_Arrtime, recordText(aircraftData.localTime));
    report.ArrivalTime = aircraftData.dFlightTimeS;
    m_pLogger->debug("FlightTimer.dArriveSeconds = " + fixedText(report.ArrivalTime, 2));
    const float hours = static_cast<float>((report.ArrivalTime - report.DepartureTime) / 3600.0);
    setRecordText(report.Hours, oneDecimalText(hours));

    // 6. and 7. The flight's keys.
    setRecordText(report.TS, intText(log.Timestamp));
    setRecordText(report.FlightState, "On Block");
    setRecordText(report.Distance, recordText(log.Dist));
    setRecordText(report.PAX, recordText(log.Passengers));
    setRecordText(report.Ticket, recordText(route.Price));
    setRecordText(report.Version, std::string(kClientVersion) + " Plugin");
    const int logFlightType = recordInt(log.FlightType);
    setRecordText(report.Multiplier,
                  logFlightType != 0 ? std::string("1") : recordText(log.Multiplier));
    setRecordText(report.FlightType, recordText(route.FlightType));
    setRecordText(report.Cheat, "");
    report.EmergencyLanding = aircraftData.bEmergency ? 1 : 0;
    setRecordText(report.OS, CClientConfig::instance()->getOS());

    // 8. Wear: landing loads the gear and hull, flight time the engines and
    // hull, more so on flights with a higher multiplier.
    const double multiplier = recordDouble(log.Multiplier);
    const float wearFactor = std::sqrt(static_cast<float>(multiplier)) / 10.0f;
    const int verticalSpeedFpm = std::min(aircraftData.nLandingVerticalSpeedFpm, 0);
    const int durationMin = recordInt(log.Duration);
    report.VS = verticalSpeedFpm;
    aircraft.StateGear += verticalSpeedFpm * 0.001 * wearFactor;
    const double engineWear = durationMin * (-0.001) * wearFactor;
    float* const engines[] = {&aircraft.StateEng1, &aircraft.StateEng2, &aircraft.StateEng3,
                              &aircraft.StateEng4};
    for (float* engine : engines) {
        *engine += engineWear;
    }
    aircraft.StateHull += engineWear + verticalSpeedFpm * 0.0005;
    if (aircraftData.bDamaged) {
        const double damage = std::fabs(aircraftData.fDamageAmount) * 0.1;
        aircraft.StateGear -= damage;
        for (float* engine : engines) {
            *engine -= damage;
        }
        aircraft.StateHull -= damage;
    }
    float* const states[] = {&aircraft.StateGear, &aircraft.StateEng1, &aircraft.StateEng2,
                             &aircraft.StateEng3, &aircraft.StateEng4, &aircraft.StateHull};
    for (float* state : states) {
        *state = std::max(*state, 0.0f);
    }
    // Only engine 1 stands for the engines in the value.
    const float price = static_cast<float>(client.m_aircraftType.Price);
    aircraft.Value =
        truncated(price * aircraft.StateGear / 100 * 0.2 + price * aircraft.StateEng1 / 100 * 0.6 +
                      price * aircraft.StateHull / 100 * 0.2,
                  "aircraft value");

    // 9. A wreck keeps no fuel.
    if (aircraftData.nFlightState == kFlightStateCrashed) {
        aircraft.FuelAfter = 0;
        m_pLogger->debug("Arrival fuel set to 0, crash detected");
    }

    // 10. Fuel bought before departure and burnt on the way.
    const int fuelDepartureKg = aircraftData.nFuelDepartureKg;
    const int fuelBoughtKg =
        std::max(0, wholeSum(int64_t{fuelDepartureKg} - aircraft.Fuel, "Fuel_Bought"));
    const int fuelUsedKg =
        std::max(0, wholeSum(int64_t{fuelDepartureKg} - aircraft.FuelAfter, "Fuel_Used"));
    setRecordText(report.Fuel_Bought, intText(fuelBoughtKg));
    setRecordText(report.Fuel_Used, intText(fuelUsedKg));
    report.Fuel_Dep = fuelDepartureKg;
    report.Fuel_TakeOff = aircraftData.nFuelTakeOffKg;
    report.Fuel_Land = aircraftData.nFuelLandingKg;
    const double fuelPrice = recordDouble(report.Fuelprice);

    // 11. The tank's multiplier after this flight.
    const double flightMultiplier = recordInt(route.FlightType) != 0 ? 1.0 : multiplier;
    aircraft.FuelMult = blendedFuelMultiplier(aircraft.FuelMult, flightMultiplier,
                                              aircraft.FuelBooked, aircraft.FuelAfter);

    // 12. Cargo revenue.
    const int cargoKg = recordInt(log.Cargo);
    int32_t cargoMoney = cargoRevenue(recordInt(log.Dist), cargoKg);
    setRecordText(report.Cargo, intText(cargoMoney));
    setRecordText(report.Cargo_kg, intText(cargoKg));

    // 13. Only an intact flight to the booked airport earns anything.
    const bool earns = !isPenalty(kCrashKind) && !isPenalty(kFuelExhaustedKind) &&
                       recordText(report.Arr) == recordText(route.Arr);
    if (!earns) {
        setRecordText(report.Cargo, "0");
        setRecordText(route.Price, "0");
        setRecordText(report.Ticket, "0");
        cargoMoney = 0;
    }

    // 14. to 18. Money: tickets and cargo less crew and fuel, a bonus for
    // flying in real time, the pilot's share.
    const double rate = bonusRate(report.Simrate);
    const int passengers = recordInt(log.Passengers);
    report.Crew = truncated(
        static_cast<double>(passengers) * 5 * ticketFactor(client.m_aircraftType.Ticket), "Crew");
    const int32_t profitBeforeBonus = truncated(
        ticketRevenue(recordDouble(route.Price), passengers, client.m_aircraftType.Ticket) -
            report.Crew - fuelCost(fuelBoughtKg, fuelPrice) + cargoMoney,
        "Profit");
    if (profitBeforeBonus < 1) {
        report.Bonus = 0;
        report.Salary = 0;
        report.Profit = profitBeforeBonus;
    } else {
        report.Bonus = truncated(profitBeforeBonus * rate, "Bonus");
        const int32_t withBonus = wholeSum(int64_t{profitBeforeBonus} + report.Bonus, "Profit");
        const int32_t pilotShare =
            truncated(static_cast<double>(withBonus) * airline.Pilotcharge / 100.0, "Salary");
        report.Profit = wholeSum(int64_t{withBonus} - pilotShare, "Profit");
        report.Salary = std::max(0, pilotShare);
    }

    // 19. Rating and the airline's reputation change.
    // Summed wide: a restored slot may hold any deduction.
    int64_t rating = 100;
    int64_t reputation = 1;
    std::string reasons;
    for (const struct_penalty& penalty : m_penalties) {
        if (penalty.active == 0) {
            continue;
        }
        rating -= penalty.ratingDeduction;
        reputation -= penalty.reputationDeduction;
        reasons += recordText(penalty.text) + " | ";
    }
    airline.Reputation = wholeSum(reputation, "Reputation");
    setRecordText(report.Rating, intText(wholeSum(rating, "Rating")));
    setRecordText(report.Ratingreasons, reasons);

    // 20. A positioning flight earns nothing and is not rated: the pilot pays
    // the fuel.
    if (logFlightType == kPositioningFlightType) {
        setRecordText(report.Dep, recordText(log.Departure));
        setRecordText(report.Pln_Arr, recordText(log.Arrival));
        setRecordText(report.FlightType, "2");
        report.Bonus = 0;
        report.Crew = 0;
        report.Profit = 0;
        report.Salary = truncated(-(recordDouble(report.Fuel_Bought) * fuelPrice), "Salary");
        setRecordText(report.Rating, "100");
        setRecordText(report.Ratingreasons, "");
        airline.Reputation = 0;
    }
    return 1;
}
