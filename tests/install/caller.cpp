// A program that calls every public operation with the types that programs in the field have: texts
// as char*, records made member by member. It only has to compile and to link.
#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "sdk/IRLogger.h"
#include "sdk/SimpleXML.h"
#include "sdk/Timer.h"
#include "util/Logger.h"
#include "util/StringHelpers.h"

#include <string>
#include <vector>

namespace {

char text[260] = "text";
wchar_t wide[260] = L"wide";

void callTheManager() {
    zel::IRCalibrationManager* manager = zel::IRCalibrationManager::getInstance();
    manager->setCalibrationDir(text);
    manager->setFormatsDir(text);
    char* calibrationDir = manager->getCalibrationDir();
    char* formatsDir = manager->getFormatsDir();
    char path[2048] = "";
    short capacity = 260;
    bool done = manager->createConfigFilepath(path, calibrationDir, capacity, formatsDir, ".xml");
    int made = zel::mkDir(text);
    char* folder = zel::getFolderPath(path, capacity);
    unsigned long serial = 0;
    done = manager->findSerial(serial) && folder != nullptr && made == 0 && done;
    int size = 0;
    zel::_checkCaliFilesHelper(text, text, "Cali-%s.dat", nullptr, &size);
    done = manager->checkCaliFiles(text, 12, nullptr, &size, "Cali-%i.xml", "Cali-%s.dat",
                                   "Kennlinie-%s.prn", ";");
    char* missing = manager->checkCalibration(serial);
    delete[] missing;
    done = manager->copyCalibrationFromLocalRepo(serial, std::string("source"));
    done = manager->isOnlineCalibrationRepoAccessible();
    done = zel::IRCalibrationManager::downloadTarget(text, std::string("12"), std::string("dir"));
    done = manager->downloadCalibration(serial);
    std::vector<zel::IROptics>* optics = manager->getAvailableOptics(serial);
    zel::IROptics listed = optics->front();
    zel::IRTempRange range = {1, 2};
    listed.fov = range.tMin + range.tMax;
    listed.tempRanges.push_back(range);
    listed.text = manager->generateConfiguration(serial);
    zel::IRCalibrationManager another;
    delete manager;
}

void callTheDescription() {
    ConfigCali* cali = ConfigCali::getInstance();
    int loaded = cali->isLoaded(12) ? 0 : cali->load(text, 12);
    OPTICS* optics = cali->getOptics(0);
    char* opticsText = optics->text;
    int fov = optics->fov;
    Range* range = cali->getTempRange(optics, 0);
    float lo = range->lo;
    float hi = range->hi;
    OPTICS made;
    made.fov = 23;
    made.text = text;
    int index = cali->getOpticsCount() + cali->getOpticsIndex(&made) +
                cali->getOpticsIndex(fov, opticsText) + cali->getTempRangeCount(optics) +
                cali->getTempRangeCount(fov, opticsText) + cali->getTempRangeIndex(optics, range) +
                cali->getTempRangeIndex(fov, opticsText, lo, hi) + loaded;
    delete cali->getTempRange(fov, opticsText, index);
    delete cali->getExtendedTempRange(optics, index);
    delete cali->getExtendedTempRange(fov, opticsText, index);
    delete cali->getExtendedTempRange(fov, opticsText, lo, hi);
    delete cali->getTempRangeOverAll(optics);
    delete cali->getTempRangeOverAll();
    unsigned short framerate = cali->getTempRangeDecimal(fov, opticsText, lo, hi);
    index = cali->getFramerateCount(optics, range) +
            cali->getFramerateIndex(optics, range, framerate) +
            cali->getFramerateIndex(fov, opticsText, lo, hi, framerate);
    framerate = cali->getFramerate(optics, range, index);
    bool calibrated = cali->checkFramerate(optics, range, framerate) &&
                      cali->checkFramerate(fov, opticsText, lo, hi, framerate);
    char stem[260];
    calibrated = ConfigCali::caliFilenameString(12, fov, opticsText, range, framerate, stem, 260);
    calibrated = ConfigCali::caliFilenameString(12, fov, opticsText, lo, hi, framerate, stem, 260);
    delete range;
    delete optics;
    OpticsDefinition definition;
    TempRangeDefinition defined;
    MainSection main;
    main.TecA = defined.Fid;
    definition.FOV = definition.tempRanges.size() == 3 && calibrated ? main.TecA : 30;
    ConfigCali another;
}

void callTheReader() {
    zel::SimpleXML xml;
    bool found = xml.open(text, "CaliData") && xml.open(text, text, "CaliData");
    found = xml.setNode() && xml.setNode("Main") && xml.setNode("Main", 1) && xml.resetNode();
    char* content = nullptr;
    if (xml.getNode(&content) || xml.getString("Text", &content))
        delete[] content;
    unsigned int count = xml.getNodeCount("Main");
    int number = xml.getKey("Main", 0, static_cast<int>(count), true);
    long longNumber = 0;
    float real = 0.0F;
    found = xml.getInt("a", &number) && xml.getLong("b", &longNumber) && xml.getFloat("c", &real);
    zel::CommentToken token;
    token.type = found ? 1 : 0;
    token.position = 3;
    found = zel::compTokens(token, token);
}

void callTheRest() {
    zel::IRLogger logging;
    logging.setVerbosity(zel::IRLOG_OFF, zel::IRLOG_OFF, nullptr);
    zel::Timer timer;
    long double now = timer.getTimeNow() + timer.getTime() + timer.reset();
    thalvo::Logger* logger = thalvo::Logger::getInstance();
    logger->configure("log", thalvo::Logger::LOGFILE_OFF, 0, 0);
    unsigned int level = now > 0.0L ? 3 : 2;
    logger->print(level, "tests/install/caller", __LINE__, "message");
    thalvo::Logger::releaseInstance();

    int order = tstrcmp(text, text) + tstrcmp(wide, wide);
    unsigned int length = tstrlen(text) + tstrlen(wide) + static_cast<unsigned int>(order);
    char narrow[260] = "";
    wchar_t broad[260] = L"";
    tstrcat(tstrcpy(narrow, length, text), length, text);
    tstrcat(tstrcpy(broad, length, wide), length, wide);
    int integer = tsnprintf(narrow, 260, "%i", 1) + tsnprintf(broad, 260, L"%i", 1);
    tstrupr(tstrlwr(narrow));
    tstrupr(tstrlwr(broad));
    char* hit = tstrstr(narrow, text);
    wchar_t* broadHit = tstrstr(broad, wide);
    long longInteger = hit != nullptr && broadHit != nullptr ? 1 : 0;
    float real = 0.0F;
    tscanf(text, "%i", &integer);
    tscanf(text, "%ld", &longInteger);
    tscanf(text, "%f", &real);
    tscanf(wide, L"%i", &integer);
    tscanf(wide, L"%ld", &longInteger);
    tscanf(wide, L"%f", &real);
    zel::_tscanfi(text, &integer);
    zel::_tscanfld(text, &longInteger);
    zel::_tscanff(text, &real);
    tstrcpy(narrow, 2, thalvo::W2C(text));
    tstrcpy(narrow, 2, thalvo::W2C(wide));
}

} // namespace

int main(int argc, char** /*argv*/) {
    if (argc < 1000)
        return 0;
    callTheManager();
    callTheDescription();
    callTheReader();
    callTheRest();
    return 0;
}
