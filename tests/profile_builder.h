// Profiles for tests, said in one line: what the profile does, from where to where, and the few
// fields the test is about.
//
//   Profile p = ProfileBuilder(L"Import").Copy(dir / L"Karte", dir / L"Fotos").Filter(L".jpg").Subfolders();
//
// Starts as a profile the editor would save for a plain move: no subfolders, numbering on a
// name collision ("1"), no zip; every other field is empty, as in a profile file that lacks it.
#pragma once

#include <string>
#include <utility>

#include "profiles/profile.h"

namespace ablagix::test {

class ProfileBuilder {
 public:
  explicit ProfileBuilder(std::wstring name) {
    p_.Beschreibung = std::move(name);
    p_.Unterverzeich = L"0";
    p_.Kollision = L"1";
    p_.Zippen = L"0";
  }

  ProfileBuilder& Action(std::wstring aktion, std::wstring source, std::wstring target = {}) {
    p_.Aktion = std::move(aktion);
    p_.Quelle = std::move(source);
    p_.Ziel = std::move(target);
    return *this;
  }
  ProfileBuilder& Move(std::wstring source, std::wstring target) {
    return Action(L"Verschieben", std::move(source), std::move(target));
  }
  ProfileBuilder& Copy(std::wstring source, std::wstring target) {
    return Action(L"Kopieren", std::move(source), std::move(target));
  }
  ProfileBuilder& Subfolders(bool on = true) { return Set(&Profile::Unterverzeich, on ? L"1" : L"0"); }
  ProfileBuilder& Filter(std::wstring filter) { return Set(&Profile::Filter, std::move(filter)); }
  // "0" replace, "1" number, "2" skip.
  ProfileBuilder& Collision(std::wstring kollision) { return Set(&Profile::Kollision, std::move(kollision)); }
  ProfileBuilder& Zip(std::wstring zippen, std::wstring zipName = {}) {
    p_.Zippen = std::move(zippen);
    p_.ZipName = std::move(zipName);
    return *this;
  }
  ProfileBuilder& CaseSensitive(bool on) { return Set(&Profile::Case, on ? L"1" : L"0"); }
  ProfileBuilder& Watched() { return Set(&Profile::Ueberwachen, L"1"); }
  ProfileBuilder& Sidecars() { return Set(&Profile::Begleitdateien, L"1"); }
  ProfileBuilder& SkipIdentical() { return Set(&Profile::Identisch, L"1"); }
  // Any other field, by its member.
  ProfileBuilder& Set(std::wstring Profile::*field, std::wstring value) {
    p_.*field = std::move(value);
    return *this;
  }

  const Profile& Build() const { return p_; }
  operator Profile() const { return p_; }  // NOLINT(google-explicit-constructor): reads as a value

 private:
  Profile p_;
};

}  // namespace ablagix::test
