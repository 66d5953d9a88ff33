/// The works, by what they are about.
#pragma once

namespace bench {

void addBulk();
void addSmall();
void addEpochs();
void addMany();

}  // namespace bench
