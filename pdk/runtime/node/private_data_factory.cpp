#include "cfiprivatedatafactory.h"

CFiPrivateDataFactory::~CFiPrivateDataFactory() = default;

CFiPrivateDataManager::CFiPrivateDataManager() = default;

CFiPrivateDataManager::~CFiPrivateDataManager() = default;
