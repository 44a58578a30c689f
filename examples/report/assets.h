// The files page.css, figures.css and page.js, as the build has put them into the program.
#ifndef REPORT_ASSETS_H
#define REPORT_ASSETS_H

namespace report {

extern char const pageStyle[];
extern char const figureStyle[];
extern char const pageScript[];

}  // namespace report

#endif
